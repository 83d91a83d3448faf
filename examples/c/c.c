/* A backup service in outline, in plain C: it loads a selection, watches it, takes what has changed, records it as
 * backed up, and ends cleanly. Where it says "copy", a product copies.
 *
 *   c SELECTION.xml INDEX.db [FILES]
 *
 * FILES: end after so many. Without it, Ctrl-C ends the service. */
#include "orbwatcher4/OrbWatcherC.h"

#include <stdio.h>
#include <wchar.h>
#include <windows.h>

enum { PollInterval = 100, LongestStart = 60000 }; /* milliseconds */

static HANDLE endEvent;

static BOOL WINAPI EndByCtrlC(DWORD why)
{
    (void)why;
    return SetEvent(endEvent);
}

static void Tell(const wchar_t* what, const wchar_t* of)
{
    wprintf(L"%ls%ls\n", what, of);
    fflush(stdout);
}

/* After a call that has failed. */
static void TellFailure(const wchar_t* what)
{
    wchar_t why[512];
    OrbLastFailure(why, 512, NULL);
    fwprintf(stderr, L"%ls: %ls\n", what, why);
}

/* The service runs on: what fails is tried again when the file changes the next time. */
static void BackUp(OrbIndexHandle index, const OrbPendingFile* file)
{
    /* Copy file->path here; what cannot be copied is put back with OrbPendingPutBack. */
    Tell(L"changed: ", file->path);
    OrbResult result = OrbIndexRecord(index, file);
    /* A file that cannot be read now stays new, so that it is backed up later rather than never. */
    if (result != ORB_OK && result != ORB_FILE_UNREADABLE)
        TellFailure(file->path);
}

/* A file that comes back after its deletion is a new one. Comes before the next file is recorded. */
static void ForgetDeletions(OrbWatcherHandle watcher, OrbIndexHandle index)
{
    OrbDeletion deletion = {.size = sizeof deletion};
    while (OrbDeletionTake(watcher, &deletion) == ORB_OK)
        OrbIndexForgetDeleted(index, &deletion);
}

/* Until the end is asked for, or `files` have been taken; 0: no end. */
static void DrainPending(OrbWatcherHandle watcher, OrbIndexHandle index, long files)
{
    OrbPendingFile file = {.size = sizeof file};
    for (long taken = 0; files == 0 || taken < files;) {
        OrbResult result = OrbPendingTake(watcher, &file);
        ForgetDeletions(watcher, index);
        OrbEnumerationNoteCompleted(watcher); /* when there is one */
        if (result == ORB_OK) {
            BackUp(index, &file);
            taken += file.flags & ORB_DIRECTORY ? 0 : 1;
        } else if (WaitForSingleObject(endEvent, PollInterval) == WAIT_OBJECT_0) {
            return;
        }
    }
}

/* The code to end with. */
static int Serve(OrbWatcherHandle watcher, OrbIndexHandle index, long files)
{
    int code = 0;
    if (OrbWatcherStart(watcher, LongestStart) == ORB_OK) {
        Tell(L"ready", L"");
        DrainPending(watcher, index, files);
    } else {
        TellFailure(L"the watcher did not start");
        code = 1;
    }
    OrbResult stopped = OrbWatcherStop(watcher); /* what is still pending waits for the next start */
    if (stopped != ORB_OK && stopped != ORB_WRONG_STATE) {
        TellFailure(L"the end");
        code = 1;
    }
    ForgetDeletions(watcher, index);
    return code;
}

int wmain(int count, wchar_t** arguments)
{
    if (count < 3) {
        fwprintf(stderr, L"usage: c SELECTION.xml INDEX.db [FILES]\n");
        return 2;
    }
    endEvent = CreateEventW(NULL, TRUE, FALSE, NULL);
    SetConsoleCtrlHandler(EndByCtrlC, TRUE);

    OrbIndexHandle index;
    if (OrbIndexOpen(arguments[2], NULL, &index) != ORB_OK) {
        TellFailure(L"the index cannot be used");
        return 1;
    }
    OrbWatcherOptions options = {
        .size = sizeof options, .selection = arguments[1], .indexDatabase = arguments[2], .keepEvents = 1};
    OrbWatcherHandle watcher;
    if (OrbWatcherCreate(&options, &watcher) != ORB_OK) {
        TellFailure(L"the selection cannot be loaded");
        OrbIndexClose(index);
        return 2;
    }
    int code = Serve(watcher, index, count > 3 ? wcstol(arguments[3], NULL, 10) : 0);
    OrbWatcherDestroy(watcher);
    OrbIndexClose(index);
    Tell(L"ended", L"");
    return code;
}
