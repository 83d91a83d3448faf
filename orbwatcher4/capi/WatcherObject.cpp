#include "orbwatcher4/capi/WatcherObject.h"

#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/capi/LoadedFiles.h"
#include "orbwatcher4/core/WatcherParts.h"

#include <atomic>
#include <new>
#include <utility>

namespace
{

constexpr ULONGLONG PollInterval = 20; // milliseconds between two checks

std::atomic<unsigned> g_objects{0};

// The watcher opens the event by its name.
std::wstring NewEventName()
{
    static std::atomic<unsigned> count = 0;
    return L"Local\\orb-enumerated-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count);
}

// Planted settings read as empty. A watcher that started all the same would report that all is well.
void RequireTrustedSettings()
{
    CString path, reason;
    if (!AreSettingsTrusted(path, reason))
        throw Refused{ORB_NOT_TRUSTED, std::wstring(path) + L": " + std::wstring(reason)};
}

} // namespace

OrbWatcherObject::Counted::Counted() { ++g_objects; }
OrbWatcherObject::Counted::~Counted() { --g_objects; }

unsigned OrbWatcherObject::Count() { return g_objects; }

OrbWatcherObject::OrbWatcherObject(WatcherSetup setup)
    : m_setup(std::move(setup)),
      m_completedName(NewEventName()),
      m_completed(CreateEventW(nullptr, TRUE, FALSE, m_completedName.c_str())),
      m_watcher(MakeLoaded())
{
    if (!m_completed)
        throw Refused{ORB_FAILED};
}

OrbWatcherObject::~OrbWatcherObject()
{
    const std::scoped_lock lock(m_lock);
    if (m_watching)
        StopLocked();
}

std::unique_ptr<COrbWatcher> OrbWatcherObject::MakeLoaded()
{
    RequireFiles({&m_setup.selection, &m_setup.autoExclusions, &m_setup.advancedRules, &m_setup.secondaryRules});
    auto watcher = std::make_unique<COrbWatcher>(false);
    watcher->Init();
    watcher->SetDataXMLFiles(m_setup.selection.c_str(), m_setup.autoExclusions.c_str(), m_setup.advancedRules.c_str());
    watcher->SetSecondaryXMLFile(m_setup.secondaryRules.c_str(), nullptr);
    watcher->SetIndexDB(m_setup.indexDatabase.c_str());
    watcher->SetDestBackupFolderDB(m_setup.destination.c_str());
    watcher->EnableBackupHiddenFiles(m_setup.hiddenFiles);
    watcher->SetFirstTimeCompletionEvent(m_completedName.c_str());
    RequireSettings(*watcher);
    if (m_setup.keepEvents)
        m_events.Follow(*watcher);
    RequireLoaded([&] { return watcher->m->LoadSelection(); });
    return watcher;
}

// A setting for which there was no memory has stayed as it was.
void OrbWatcherObject::RequireSettings(COrbWatcher& watcher) const
{
    WatcherParts& state = *watcher.m;
    const std::pair<CString, std::wstring> settings[] = {
        {state.config.files.data, m_setup.selection},         {state.config.files.autoExclude, m_setup.autoExclusions},
        {state.config.files.advanced, m_setup.advancedRules}, {state.config.files.secondary, m_setup.secondaryRules},
        {state.config.indexDatabase, m_setup.indexDatabase},  {state.selection.Destination(), m_setup.destination},
        {state.config.completionEvent, m_completedName}};
    for (const auto& [taken, given] : settings)
        if (taken.View() != given)
            throw std::bad_alloc();
}

void OrbWatcherObject::Start()
{
    const std::scoped_lock lock(m_lock);
    if (m_watching)
        throw Refused{ORB_WRONG_STATE, L"the watcher is watching already"};
    RequireTrustedSettings();
    if (!m_watcher)
        m_watcher = MakeLoaded();
    ResetEvent(m_completed.Get());
    m_watcher->Resume();
    m_watcher->StartWatch();
    m_watching = true;
}

bool OrbWatcherObject::Stop()
{
    const std::scoped_lock lock(m_lock);
    if (!m_watching)
        throw Refused{ORB_WRONG_STATE, L"the watcher is not watching"};
    return StopLocked();
}

// The object is empty afterwards; the next start makes another one.
bool OrbWatcherObject::StopLocked()
{
    m_watcher->AbortWatching();
    m_watcher->DeInit();
    m_pendingKept = m_watcher->IsPendingKept();
    m_watching = false;
    m_watcher.reset();
    return m_pendingKept;
}

bool OrbWatcherObject::IsPendingKept()
{
    const std::shared_lock lock(m_lock);
    return m_pendingKept;
}

bool OrbWatcherObject::Becomes(const std::function<bool(COrbWatcher&)>& condition, uint32_t milliseconds)
{
    const ULONGLONG end = GetTickCount64() + milliseconds;
    while (!WhileWatching(condition)) {
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return false;
        Sleep(static_cast<DWORD>(std::min(PollInterval, end - now)));
    }
    return true;
}
