#include "orbwatcher4/core/selection/Selection.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "companions/settings/OtherFiles.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/Backslash.h"
#include "support/DigestOfFiles.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

#include <string>
#include <utility>

namespace
{

// The rules of some files, in a filter of their own, so that a rule that is gone from the files is gone after the swap,
// too. If loading fails, the present rules stay; a filter without rules takes those that could be loaded.
struct FreshRules {
    void Load(const CString& data, const CString& automatic, const wchar_t* advanced, WaitingFindings& findings)
    {
        isWhole = filter.LoadXmlFilters(data, automatic, advanced);
        findings.Add(filter.Findings());
    }
    void Replace(OrbFilter& present)
    {
        if (isWhole || !present.HasRules())
            present.TakeRulesFrom(filter);
    }

    OrbFilter filter;
    bool isWhole = false;
};

} // namespace

Selection::~Selection() { CountWith(nullptr); }

bool Selection::Load(OverlayCache* overlay, const wchar_t* advancedOfSecondary)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const SelectionFiles& files = config.files;
    const CSingleLock oneAtATime(filesLock);
    FreshRules forPrimary, forSecondary;
    {
        const CSingleLock first(primaryLock);
        const CSingleLock second(secondaryLock);
        primary.SetOverlayCache(overlay);
        forPrimary.filter.PrepareToReplace(primary);
        forSecondary.filter.PrepareToReplace(secondary);
    }
    const bool hasFile = !files.data.IsEmpty(); // without a file, rules that were added stay
    CString read;
    {
        const LockOrder::DiskScope disk;
        read = DigestOfFiles(files.OfTheSelection()); // comes first: a later edit is then noticed
        if (hasFile)
            forPrimary.Load(files.data, files.autoExclude, files.advanced, findings);
        forSecondary.Load(files.secondary, files.secondaryAutoExclude, advancedOfSecondary, findings);
    }
    const CSingleLock first(primaryLock);
    const CSingleLock second(secondaryLock);
    // Comes before everything that may fail: the watch thread then uses whatever rules there are.
    requestedRoots.NoteOtherRules();
    const bool hadRules = primary.HasRules();
    if (hasFile)
        forPrimary.Replace(primary);
    forSecondary.Replace(secondary);
    primary.SetSecondaryFilter(&secondary);
    if (forPrimary.isWhole || !hadRules)
        std::swap(content, read);
    volumes.Follow(primary.GenerateDriveList());
    // The rules of the data file may be loaded although another file is missing or malformed.
    if (forPrimary.isWhole || (hasFile && primary.HasRules()))
        loaded = true;
    return forPrimary.isWhole && forSecondary.isWhole;
}

CString Selection::Content()
{
    const CSingleLock lock(primaryLock);
    return content;
}

void Selection::RequestItsRoots()
{
    if (!requestedRoots.IsWatching())
        return;
    for (const auto& [root, drive] : Drives())
        requestedRoots.Request(root);
}

void Selection::Clear()
{
    const CSingleLock first(primaryLock);
    const CSingleLock second(secondaryLock);
    primary.ClearAll();
    secondary.ClearAll();
    content.Empty();
    loaded = false;
}

void Selection::SetDestination(const wchar_t* path)
{
    CString folder = path;
    Edit([&](OrbFilter& filter) { filter.SetDestination(folder); });
    const CSingleLock lock(primaryLock);
    std::swap(destination, folder);
}

CString Selection::Destination()
{
    const CSingleLock lock(primaryLock);
    return destination;
}

std::set<CString> Selection::KeptOutDestinations()
{
    const CSingleLock lock(primaryLock);
    std::set<CString> folders;
    for (const CString& folder : {primary.BackupFolder(), OrbFilter::SystemForm(destination)})
        if (!folder.IsEmpty())
            folders.insert(WithBackslash(folder));
    return folders;
}

void Selection::WarnOfDataFolder()
{
    constexpr std::size_t most = 1000;
    const CString folder = OrbFilter::SystemForm(DataFolder::Path());
    if (PathIsRootW(WithBackslash(folder)))
        return; // only the product's own files are left out there
    std::vector<CString> files = FindOtherFiles(folder, most);
    {
        const CSingleLock lock(primaryLock);
        std::erase_if(files, [this](const CString& file) {
            primaryLock.RequireHeld();
            return !primary.IsLostInDataFolder(file);
        });
        const CString first = files.empty() ? CString() : files.front();
        if (std::exchange(warnedOf, first) == first || files.empty())
            return;
    }
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"Files that the selection includes are never backed up, because %s is the data folder: %s%s. "
                      L"Use another data folder, or move them",
                      folder.GetString(), files.front().GetString(), files.size() == 1 ? L"" : L" and others");
}

DriveList Selection::Drives()
{
    const CSingleLock lock(primaryLock);
    return primary.GenerateDriveList();
}

bool Selection::IsKeptOut(const CString& path)
{
    const CSingleLock lock(primaryLock);
    return primary.WhyKeptOut(path) != KeptOut::No;
}

bool Selection::IsGone(const CString& path) const { return IsReallyGone(path) && !volumes.IsOther(path); }

void Selection::FollowLinks(CString& path)
{
    const CSingleLock lock(primaryLock);
    primary.UpdateJunctionDestination(path);
}

void Selection::CountWith(const ItemCounters* counters)
{
    const CSingleLock lock(primaryLock);
    primary.SetNotificationStore(counters);
}
