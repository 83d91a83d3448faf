// A walk over directory trees, link by link and without recursion. One thread uses an object.
#pragma once

#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/filter/AbortPoll.h"
#include "orbwatcher4/filter/ScanBounds.h"
#include "orbwatcher4/filter/ScanDisk.h"
#include "orbwatcher4/filter/WalkMemory.h"
#include "orbwatcher4/filter/WalkObserver.h"

#include <vector>

struct WalkOptions {
    CString listPattern = L"*"; // for the system; also hides sub-folders that do not match
    CString filePattern = L"*"; // for names of files alone
    bool includeHidden = false; // hidden folders; hidden files are always reported
    HANDLE abort = nullptr;     // an event that aborts the walk; may be null
    const ScanBounds* bounds = nullptr;
    WalkObserver* observer = nullptr;
};

class DirectoryWalk
{
public:
    // The arguments must outlive the walk; `caller` may be null.
    DirectoryWalk(WalkMemory& memory, ScanDisk& disk, SmartScanCaller* caller, const WalkOptions& options);

    // Walks from `folder`, whether it is known or not. Returns false when the walk was aborted; the caller must not
    // continue it then.
    bool WalkTree(const CString& folder);
    // Reports the files in `folder` itself.
    bool WalkFiles(const CString& folder);
    // Reports a file that is selected by its own path. The walk does not report it again when it meets it in a folder.
    bool TakeFile(const CString& path, unsigned __int64 size);

    bool IsAborted() { return m_abort.IsSet(); }
    // Calls the observer, if there is one.
    void PassOver(const CString& path, PathOutcome why) const;
    // Reports a path that a rule names and that does not exist.
    void PassOverMissing(const CString& path) const;
    void TakeReadError(const CString& folder, DWORD error) const;
    void TellRead(const CString& folder, DWORD error) const;
    // Returns true when a sub-folder with these attributes may be entered.
    static bool MayEnter(DWORD attributes, bool includeHidden);

private:
    void Begin(const CString& root);
    bool MayGoOn();
    bool ReadFolder(const CString& folder, bool withSubFolders);
    void ReportFile(const CString& folder, const WIN32_FIND_DATAW& data);
    void TakeFolder(CString folder, DWORD attributes);
    void TakePlainFolder(CString& folder, DWORD attributes);
    void PassOverKnown(const CString& folder, const CString& destination) const;
    void TakeLink(const CString& link, CString& destination);
    // `attributes`: those that the list of its parent folder shows, when it was met there.
    void Push(const CString& folder, std::optional<DWORD> attributes);
    void Show(DWORD attributes) const;
    // Logs the names of the folder that differ only in letter case. The index and the store hold one item for both.
    void TellTwins(const CString& folder);
    bool MatchesPattern(const wchar_t* name) const;

    WalkMemory& m_memory;
    ScanDisk& m_disk;
    SmartScanCaller* const m_caller;
    const WalkOptions m_options;
    AbortPoll m_abort;
    CString m_root;
    std::vector<CString> m_folders;        // still to be read
    std::vector<std::size_t> m_nameHashes; // of the names in the folder that is read, without regard to case
    FoldedSet m_singleFiles;               // reported by TakeFile
};
