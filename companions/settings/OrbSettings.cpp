#include "companions/settings/OrbSettings.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "companions/settings/SettingsDamage.h"
#include "companions/settings/SettingsFile.h"
#include "companions/settings/SettingsTree.h"
#include "companions/settings/SettingsValue.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"
#include "support/ProcessTurn.h"
#include "support/RankedSection.h"
#include "support/TrustedFile.h"
#include "support/Utf8Text.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>
#include <map>
#include <new>
#include <optional>

namespace
{

constexpr ULONGLONG RetryAfterMs = 1000;
constexpr DWORD LongestTurnMs = 2000; // a save takes some milliseconds
constexpr const wchar_t* logSource = L"OrbSettings";

// The parts of a key: "Section::name" is the member "name" of the group "Section".
struct Key {
    std::string section;
    std::string name;

    explicit Key(std::wstring_view key)
    {
        const std::size_t colons = key.find(L"::");
        if (colons != std::wstring_view::npos)
            section = ToUtf8(key.substr(0, colons));
        name = ToUtf8(colons == std::wstring_view::npos ? key : key.substr(colons + 2));
    }
};

// Keeps the long form of the data folder: every name of a kernel object needs it, and finding it reads each folder on
// the way there. Any thread.
class LongForms
{
public:
    std::wstring Of(const CString& folder)
    {
        const CSingleLock lock(m_section);
        if (folder != m_folder) {
            std::wstring longForm = Find(folder);
            if (longForm.empty()) // the folder may not exist yet
                return folder.GetString();
            m_longForm = std::move(longForm);
            m_folder = folder;
        }
        return m_longForm;
    }

private:
    static std::wstring Find(const CString& folder)
    {
        const WithoutThreadToken asProcess;
        std::wstring longForm(MAX_PATH * 2, L'\0');
        const DWORD length = GetLongPathNameW(folder, longForm.data(), static_cast<DWORD>(longForm.size()));
        longForm.resize(length < longForm.size() ? length : 0);
        return longForm;
    }

    CCriticalSection m_section;
    CString m_folder; // the last folder that was asked for
    std::wstring m_longForm;
};

// Two processes may write one folder in different ways; both must get the same text.
CString InstanceOfFolder(const CString& folder)
{
    static LongForms longForms;
    std::wstring path = longForms.Of(folder);
    std::transform(path.begin(), path.end(), path.begin(),
                   [](wchar_t unit) { return static_cast<wchar_t>(UpperUnit(static_cast<std::uint16_t>(unit))); });
    CString text;
    text.Format(L"%016I64x", PathHash64(path));
    return text;
}

// A service and the programs of a user share only the names of the whole machine.
constexpr const wchar_t* wholeMachine = L"Global\\";
constexpr const wchar_t* oneSession = L"Local\\";

// The system refuses longer names. A cut name ends in a hash of the whole name, so that cut names still differ; case
// counts.
CString KernelName(const CString& name)
{
    constexpr int longest = MAX_PATH - 1;
    if (name.GetLength() <= longest)
        return name;
    const auto bytes = static_cast<std::size_t>(name.GetLength()) * sizeof(wchar_t);
    const auto hash = MurmurHash3x86_128(name.GetString(), bytes, 0);
    CString ending;
    for (const std::uint32_t word : hash)
        ending.AppendFormat(L"%08x", word);
    return name.Left(longest - ending.GetLength()) + ending;
}

// Returns the name that this library gives to a kernel object.
CString SharedName(const wchar_t* space, const wchar_t* base, CString instance)
{
    // A backslash in the name of a kernel object would name a directory of objects.
    instance.Replace(L"\\", L"_");
    return KernelName(CString(space) + base + L"_" + instance);
}

} // namespace

struct CSettings::State {
    enum class Loaded {
        No,
        Yes,
        Unread, // the file exists and could not be opened; it is tried again from time to time
    };

    State(const wchar_t* name, OwnerAccess::Others readers) : fileName(name), others(readers) {}

    const CString fileName;
    const OwnerAccess::Others others; // what other accounts may do with the file
    RankedSection section{LockRank::Database, L"settings"};
    // The section guards all members below.
    SettingsTree values = SettingsTree::Object();
    std::map<std::wstring, nlohmann::json> unsaved; // set since the file was written
    CString folder;                                 // the data folder that `values` belongs to
    Loaded loaded = Loaded::No;
    ULONGLONG triedAt = 0;
    bool keepAside = false; // the file on disk is not the one that was read, and must be kept before it is replaced

    SettingsFile File() const { return SettingsFile(folder + L"\\" + fileName, others); }
    void Use();
    bool Load(const CString& from);
    void Take(SettingsTree read);
    bool ReadBeforeSaving(unsigned long& error);
    bool NotWritten(unsigned long error) const;
    void KeepDamagedFile(const std::wstring& place = {});
    CString TurnName() const;
    bool Save();
    bool SaveInTurn();
    const nlohmann::json* Find(const wchar_t* text) const;
    void Put(std::wstring_view text, const nlohmann::json& value);
    void Set(const wchar_t* key, nlohmann::json value);
};

// Every operation begins with this call: the first one reads the file, and so does the first one after the data folder
// has changed.
void CSettings::State::Use()
{
    const CString now = DataFolder::Path();
    const bool another = loaded == Loaded::Unread && GetTickCount64() - triedAt >= RetryAfterMs;
    if (loaded == Loaded::No || folder != now || another)
        Load(now);
}

// A file that another program has open for itself changes nothing: the known values stay.
bool CSettings::State::Load(const CString& from)
{
    if (folder != from) {
        folder = from;
        unsaved.clear();
        Take(SettingsTree::Object());
        loaded = Loaded::No;
    }
    const WithoutThreadToken asProcess;
    std::string bytes;
    unsigned long error = 0;
    switch (File().Read(bytes, error)) {
    case SettingsFile::ReadResult::Missing:
        Take(SettingsTree::Object());
        return true;
    case SettingsFile::ReadResult::Read: {
        std::optional<SettingsTree> read = SettingsTree::Parse(bytes);
        const bool good = read.has_value();
        Take(good ? std::move(*read) : SettingsTree::Object());
        if (!good)
            KeepDamagedFile(SettingsDamage::PlaceIn(bytes));
        return good;
    }
    case SettingsFile::ReadResult::Folder:
        Take(SettingsTree::Object());
        KeepDamagedFile();
        return false;
    case SettingsFile::ReadResult::Failed:
        break;
    }
    if (loaded != Loaded::Unread)
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"Settings %s cannot be read: %s.", File().Path().GetString(),
                          OpeningFailure(error).GetString());
    loaded = Loaded::Unread;
    triedAt = GetTickCount64();
    keepAside = true;
    return false;
}

// Values that were set here and not written yet replace the values that were read.
void CSettings::State::Take(SettingsTree read)
{
    values = std::move(read);
    for (const auto& [key, value] : unsaved)
        Put(key, value);
    keepAside = false;
    loaded = Loaded::Yes;
}

// `place`: where the damage is; may be empty.
void CSettings::State::KeepDamagedFile(const std::wstring& place)
{
    const DWORD attributes = GetFileAttributesW(File().Path());
    const bool folder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
    const CString kept = File().KeepAsBad();
    keepAside = kept.IsEmpty() && GetFileAttributesW(File().Path()) != INVALID_FILE_ATTRIBUTES;
    const std::wstring damage = place.empty() ? L"" : L" (" + place + L")";
    const std::wstring loss = SettingsDamage::LossOf(fileName.View());
    g_OrbLog.WriteLog(2, logSource, __LINE__,
                      folder ? L"Settings %s are a folder%s, and nothing is read from it; the folder is kept %s%s"
                             : L"Settings %s are damaged%s, and nothing in them is used; the file is kept %s%s",
                      File().Path().GetString(), damage.c_str(),
                      kept.IsEmpty() ? L"where it is" : (L"as " + kept).GetString(),
                      loss.empty() ? L"" : (L". " + loss).c_str());
}

// Other processes may have written other values since this one read the file. Returns false when the file on disk must
// not be replaced.
bool CSettings::State::ReadBeforeSaving(unsigned long& error)
{
    std::string bytes;
    const SettingsFile::ReadResult result = File().Read(bytes, error);
    if (result == SettingsFile::ReadResult::Missing)
        return true;
    if (result == SettingsFile::ReadResult::Failed) {
        keepAside = true;
        return error != LinkMet;
    }
    std::optional<SettingsTree> read;
    if (result == SettingsFile::ReadResult::Read)
        read = SettingsTree::Parse(bytes);
    if (read)
        Take(std::move(*read));
    else
        KeepDamagedFile(SettingsDamage::PlaceIn(bytes));
    return true;
}

bool CSettings::State::NotWritten(unsigned long error) const
{
    g_OrbLog.WriteLog(2, logSource, __LINE__, L"Settings %s cannot be written: %s.", File().Path().GetString(),
                      OpeningFailure(error).GetString());
    return false;
}

// The name is always one of the whole machine: all processes that write the file must share it, whatever else they
// share.
CString CSettings::State::TurnName() const
{
    return SharedName(wholeMachine, L"mutexs::" + fileName, InstanceOfFolder(folder));
}

bool CSettings::State::Save()
{
    const WithoutThreadToken asProcess;
    DataFolder::Create(folder); // the name is made of the folder's long form, so the folder must exist
    const ProcessTurn turn(TurnName(), LongestTurnMs);
    if (!turn)
        g_OrbLog.WriteLog(2, logSource, __LINE__,
                          L"Settings %s are written although another process may be writing them (error %u).",
                          File().Path().GetString(), GetLastError());
    return SaveInTurn();
}

bool CSettings::State::SaveInTurn()
{
    unsigned long error = ERROR_ACCESS_DENIED;
    if (!ReadBeforeSaving(error))
        return NotWritten(error);
    error = ERROR_ACCESS_DENIED;
    const bool unread = keepAside;
    const CString kept = keepAside ? File().KeepAsBad() : CString();
    keepAside = keepAside && kept.IsEmpty() && GetFileAttributesW(File().Path()) != INVALID_FILE_ATTRIBUTES;
    const std::string bytes = values.Text() + "\n";
    if (!keepAside && File().Replace(bytes, error)) {
        loaded = Loaded::Yes;
        unsaved.clear();
        return true;
    }
    // The file that could not be read may be good: it must not disappear when no new file took its place.
    if (unread && !keepAside) {
        File().TakeBack(kept);
        keepAside = true;
    }
    return NotWritten(error);
}

const nlohmann::json* CSettings::State::Find(const wchar_t* text) const
{
    const Key key(text);
    const SettingsTree* group = key.section.empty() ? &values : values.Find(key.section);
    const SettingsTree* found = group ? group->Find(key.name) : nullptr;
    return found ? &found->Value() : nullptr;
}

void CSettings::State::Put(std::wstring_view text, const nlohmann::json& value)
{
    const Key key(text);
    SettingsTree& group = key.section.empty() ? values : values.Member(key.section);
    group.Member(key.name).SetValue(value);
}

void CSettings::State::Set(const wchar_t* key, nlohmann::json value)
{
    Put(key, value);
    unsaved[key] = std::move(value);
}

CSettings::CSettings(const wchar_t* fileName, bool allMayRead)
    : m_state(new State(fileName, allMayRead ? OwnerAccess::Others::MayRead : OwnerAccess::Others::MayDoNothing))
{
}
CSettings::~CSettings() { delete m_state; }

bool CSettings::Load()
{
    const CSingleLock lock(m_state->section);
    try {
        return m_state->Load(DataFolder::Path());
    } catch (const std::bad_alloc&) {
        m_state->loaded = State::Loaded::No;
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"Settings %s cannot be read: out of memory.",
                          m_state->fileName.GetString());
        return false;
    }
}

bool CSettings::Save()
{
    const CSingleLock lock(m_state->section);
    try {
        m_state->Use();
        return m_state->Save();
    } catch (const std::bad_alloc&) {
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"Settings %s cannot be written: out of memory.",
                          m_state->fileName.GetString());
        return false;
    }
}

std::int32_t CSettings::GetValue(const wchar_t* key, std::int32_t fallback) const
{
    const CSingleLock lock(m_state->section);
    m_state->Use();
    const nlohmann::json* value = m_state->Find(key);
    return value ? SettingsValue::AsNumber(*value).value_or(fallback) : fallback;
}

bool CSettings::GetValue(const wchar_t* key, wchar_t* buffer, std::size_t capacity) const
{
    if (capacity == 0)
        return false;
    buffer[0] = 0;
    const CSingleLock lock(m_state->section);
    m_state->Use();
    const nlohmann::json* value = m_state->Find(key);
    const std::optional<std::wstring> text = value ? SettingsValue::AsText(*value) : std::nullopt;
    if (!text || text->size() >= capacity)
        return false;
    *std::copy(text->begin(), text->end(), buffer) = 0;
    return true;
}

void CSettings::SetValue(const wchar_t* key, std::int32_t value)
{
    const CSingleLock lock(m_state->section);
    m_state->Use();
    m_state->Set(key, value);
}

void CSettings::SetValue(const wchar_t* key, const wchar_t* value)
{
    const CSingleLock lock(m_state->section);
    m_state->Use();
    m_state->Set(key, ToUtf8(value ? value : L""));
}

CString CSettings::GetDataFolderPath() const
{
    const WithoutThreadToken asProcess;
    const CString folder = DataFolder::Path();
    if (!DataFolder::Create(folder))
        g_OrbLog.WriteLog(2, logSource, __LINE__, L"The data folder %s cannot be created (error %u).",
                          folder.GetString(), GetLastError());
    return folder;
}

// Programs of all users find the names of the shared objects in this file.
CMainSettings::CMainSettings() : CSettings(SettingsFileNames[0], true) {}
CMainSettings::~CMainSettings() = default;

bool CMainSettings::IsOnline() const { return GetValue(L"Main::Online", 0) != 0; }

CString CMainSettings::GetMainSettingsMutex(const wchar_t* base) const
{
    wchar_t instance[MAX_PATH] = L"";
    const bool named = GetValue(L"Main::Instance", instance, MAX_PATH) && instance[0] != 0;
    wchar_t space[8] = L"";
    const bool local = GetValue(L"Main::ObjectNames", space, 8) && EqualNoCase(space, L"Local");
    return SharedName(local ? oneSession : wholeMachine, base,
                      named ? CString(instance) : InstanceOfFolder(GetDataFolderPath()));
}

CServiceRunSettings::CServiceRunSettings() : CSettings(SettingsFileNames[1]) {}
CServiceRunSettings::~CServiceRunSettings() = default;

CUserConfigurations::CUserConfigurations() : CSettings(SettingsFileNames[2]) {}
CUserConfigurations::~CUserConfigurations() = default;

CMainSettings& GetMainSettings()
{
    static CMainSettings settings;
    return settings;
}

CServiceRunSettings& GetServiceRunSettings()
{
    static CServiceRunSettings settings;
    return settings;
}

CUserConfigurations& GetUserConfigurations()
{
    static CUserConfigurations settings;
    return settings;
}
