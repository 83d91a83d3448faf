// The paths that OrbFilter keeps out of the selection, whatever the rules say.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/DiskNames.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/RankedSection.h"

#include <windows.h>

#include <shlwapi.h>

#include <utility>

namespace
{

using Source = KeptOutPaths::Source;

// Returns the path in the form in which paths are judged; a path that is not full is taken from the current folder.
CString FormOf(const CString& path)
{
    if (path.IsEmpty())
        return path;
    DiskNames disk;
    if (FormRulePath(path.View(), nullptr).refusal == RulePath::Refusal::None)
        return ComparableRulePath(path, &disk);
    CString full;
    const DWORD size = GetFullPathNameW(path, 0, nullptr, nullptr);
    const DWORD length = GetFullPathNameW(path, size, full.GetBuffer(static_cast<int>(size)), nullptr);
    full.ReleaseBuffer(static_cast<int>(length < size ? length : 0));
    return ComparableRulePath(full, &disk);
}

// Returns true when the text is another one than that of the last call: the settings are read with every file of rules,
// and the log need not repeat what is wrong with them.
bool IsNews(const CString& text)
{
    static RankedSection section{LockRank::Leaf, L"refused destination"};
    static CString last;
    const CSingleLock lock(section);
    return std::exchange(last, text) != text;
}

// Returns the folder of the settings in the form in which paths are judged, with a backslash at its end. A text that is
// no full path names no folder: the current folder of its writer is not known.
CString FormOfSetting(const CString& written)
{
    DiskNames disk;
    const RulePath formed = FormRulePath(written.View(), &disk);
    const bool refused = !written.IsEmpty() && formed.refusal != RulePath::Refusal::None;
    const bool isNews = IsNews(refused ? written : CString());
    if (!refused)
        return written.IsEmpty() ? written : WithBackslash(formed.text);
    if (isNews)
        g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__,
                          L"The setting Backup::path \"%s\" names no folder, and nothing is kept out by it: %s",
                          written.GetString(), WhyRefused(formed.refusal));
    return {};
}

} // namespace

void OrbFilter::SetDestination(const wchar_t* folder)
{
    AtBoundary(L"OrbFilter::SetDestination",
               [&] { m_keptOut.SetFolder(Source::Destination, FormOf(folder), KeptOut::Destination); });
}

void OrbFilter::SetDatabases(const std::vector<CString>& databases)
{
    AtBoundary(L"OrbFilter::SetDatabases", [&] {
        std::vector<CString> files;
        for (const CString& database : databases)
            for (CString& file : KeptOutPaths::FilesOfDatabase(FormOf(database)))
                files.push_back(std::move(file));
        m_keptOut.SetFiles(Source::Databases, files, KeptOut::OwnFile);
    });
}

void OrbFilter::SetOwnFiles(const std::vector<CString>& files)
{
    AtBoundary(L"OrbFilter::SetOwnFiles", [&] {
        std::vector<CString> formed;
        formed.reserve(files.size());
        for (const CString& file : files)
            formed.push_back(FormOf(file));
        m_keptOut.SetFiles(Source::Outputs, formed, KeptOut::OwnFile);
    });
}

void OrbFilter::KeepOutAs(const OrbFilter& other)
{
    AtBoundary(L"OrbFilter::KeepOutAs", [&] {
        m_keptOut = other.m_keptOut;
        m_backupFolder = other.m_backupFolder;
    });
}

KeptOut OrbFilter::WhyKeptOut(const wchar_t* path) const
{
    const std::wstring_view text = path;
    if (!m_backupFolder.IsEmpty() && BeginsNoCase(text, m_backupFolder.View()))
        return KeptOut::Destination;
    return m_keptOut.Why(text);
}

bool OrbFilter::IsLostInDataFolder(const wchar_t* path) const
{
    return AtBoundary(L"OrbFilter::IsLostInDataFolder", false, [&]() -> bool {
        const std::wstring_view text = path;
        KeptOutPaths others = m_keptOut;
        others.SetFolder(Source::DataFolder, {}, KeptOut::OwnFile);
        const RuleSet* const rules = RulesOfPath(m_driveRules, text);
        return rules && m_keptOut.Why(text) == KeptOut::OwnFile && others.Why(text) == KeptOut::No &&
               WhyKeptOut(path) == KeptOut::OwnFile && Decisions::CheckRules(*rules, text, false, nullptr) == Included;
    });
}

std::vector<CString> OrbFilter::KeptOutFolders() const
{
    std::vector<CString> folders = m_keptOut.Folders();
    if (!m_backupFolder.IsEmpty())
        folders.push_back(m_backupFolder);
    return folders;
}

void OrbFilter::ReadKeptOutFolders()
{
    // A whole drive as the data folder holds other files, too; the watcher ignores its own ones by their names.
    const CString dataFolder = FormOf(DataFolder::Path());
    const bool whole = PathIsRootW(WithBackslash(dataFolder)) != FALSE;
    m_keptOut.SetFolder(Source::DataFolder, whole ? CString() : dataFolder, KeptOut::OwnFile);

    constexpr std::size_t Capacity = 2048;
    wchar_t folder[Capacity] = {};
    CUserConfigurations& configuration = GetUserConfigurations();
    // While the settings cannot be read, the last destination stays.
    if (configuration.Load() || configuration.GetValue(DestinationKey, folder, Capacity)) {
        configuration.GetValue(DestinationKey, folder, Capacity);
        m_backupFolder = FormOfSetting(folder);
    }
    g_OrbLog.Log(L"Backup folder path: %s", m_backupFolder.GetString());
}
