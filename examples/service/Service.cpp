// A backup service in outline: it loads a selection, watches it, takes what has changed, records it as backed up, and
// ends cleanly. Where it says "copy", a product copies.
//
//   service SELECTION.xml INDEX.db [FILES]
//
// FILES: end after so many files. Without it, Ctrl-C ends the service.
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/OrbWatcher.h"

#include <cstdio>
#include <cwchar>

namespace
{

constexpr DWORD pollInterval = 100;   // milliseconds between two looks at an empty queue
constexpr DWORD longestStart = 60000; // milliseconds

constexpr const wchar_t* enumeratedName = L"Local\\orb-example-enumerated";

const HANDLE g_end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
const HANDLE g_enumerated = CreateEventW(nullptr, TRUE, FALSE, enumeratedName);

BOOL WINAPI EndByCtrlC(DWORD) { return SetEvent(g_end); }

// The service runs on: what fails is tried again when the file changes the next time.
void BackUp(CIndexDB& index, const QueueDatum& file)
{
    // Copy file.path here. A file that cannot be read now stays new, so that it is backed up later rather than never.
    std::wprintf(L"changed: %ls\n", file.path);
    std::fflush(stdout);
    if (file.modificationTime < 0)
        return;
    ItemDatum item;
    item.path = file.path;
    item.kind = file.flags & QueueFlags::Directory ? 1 : 0;
    item.flags = item.kind ? CachedDatum::Folder : 0;
    item.modificationTime = static_cast<std::uint64_t>(file.modificationTime);
    if (!index.RecordItem(item))
        std::fwprintf(stderr, L"not recorded: %ls: %ls\n", file.path, index.GetLastDbErrorText().GetString());
}

// The watcher makes a full enumeration by itself, until the service has noted that it is done; then once a day.
void NoteEnumeration(COrbWatcher& watcher)
{
    if (WaitForSingleObject(g_enumerated, 0) != WAIT_OBJECT_0)
        return;
    ResetEvent(g_enumerated);
    watcher.NoteFirstTimeRunCompleted();
}

// Until the end is asked for, or `files` have been taken; 0: no end.
void DrainPending(COrbWatcher& watcher, CIndexDB& index, long files)
{
    for (long taken = 0; files == 0 || taken < files;) {
        QueueDatum file;
        NoteEnumeration(watcher);
        if (watcher.GetSingleNotification(nullptr, file)) {
            BackUp(index, file);
            if (!(file.flags & QueueFlags::Directory))
                ++taken;
        } else if (WaitForSingleObject(g_end, pollInterval) == WAIT_OBJECT_0) {
            return;
        }
    }
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count < 3) {
        std::fwprintf(stderr, L"usage: service SELECTION.xml INDEX.db [FILES]\n");
        return 2;
    }
    SetConsoleCtrlHandler(EndByCtrlC, TRUE);

    CIndexDB index;
    index.SetDBFilePath(arguments[2]);
    if (!index.Open(1, 0, 0) || !index.LoadCache()) {
        std::fwprintf(stderr, L"the index cannot be used: %ls\n", index.GetLastDbErrorText().GetString());
        return 1;
    }

    COrbWatcher watcher(false);
    watcher.Init();
    watcher.SetDataXMLFiles(arguments[1], L"", L"");
    watcher.SetIndexDB(arguments[2]);
    watcher.SetFirstTimeCompletionEvent(enumeratedName);
    if (!watcher.LoadSelection()) {
        std::fwprintf(stderr, L"the selection cannot be loaded: %ls\n", arguments[1]);
        return 2;
    }
    watcher.Resume(); // what the last run left pending
    watcher.StartWatch();
    if (watcher.WaitUntilReady(longestStart)) {
        std::wprintf(L"ready\n");
        std::fflush(stdout);
        DrainPending(watcher, index, count > 3 ? std::wcstol(arguments[3], nullptr, 10) : 0);
    } else {
        std::fwprintf(stderr, L"the watcher did not start\n");
    }
    watcher.AbortWatching();
    watcher.DeInit(); // what is still pending waits for the next start
    if (!watcher.IsPendingKept())
        std::fwprintf(stderr, L"what is pending could not be kept\n");
    std::wprintf(L"ended\n");
    return 0;
}
