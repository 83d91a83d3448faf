// The texts of the result codes, and the version of the library.
#include "orbwatcher4/OrbWatcherC.h"

const wchar_t* ORB_CALL OrbResultText(OrbResult code)
{
    switch (code) {
    case ORB_OK:
        return L"done";
    case ORB_NOTHING:
        return L"there is nothing now";
    case ORB_BAD_ARGUMENT:
        return L"an argument is null, empty or out of its range";
    case ORB_BAD_SIZE:
        return L"a struct has a size that this library does not know";
    case ORB_TEXT_TOO_LONG:
        return L"a text is too long";
    case ORB_BUFFER_TOO_SMALL:
        return L"the buffer is too small";
    case ORB_WRONG_STATE:
        return L"the watcher is not in the state for this call";
    case ORB_BUSY:
        return L"a run is going on already";
    case ORB_TIMED_OUT:
        return L"the time is over";
    case ORB_ABORTED:
        return L"ended by the caller";
    case ORB_SELECTION_UNREADABLE:
        return L"the selection cannot be read";
    case ORB_FILE_UNREADABLE:
        return L"the file could not be read";
    case ORB_PENDING_NOT_KEPT:
        return L"what is pending could not be kept for the next start";
    case ORB_NO_MEMORY:
        return L"out of memory";
    case ORB_FAILED:
        return L"the system has refused something; the log says what";
    case ORB_NOT_TRUSTED:
        return L"another account may have made the data folder, or a settings file in it";
    case ORB_INDEX_LOCKED:
        return L"the index is locked by another process";
    case ORB_INDEX_READ_ONLY:
        return L"the index is read-only";
    case ORB_INDEX_CORRUPT:
        return L"the index is damaged";
    case ORB_INDEX_NEWER:
        return L"the index is newer than this library";
    case ORB_INDEX_FULL:
        return L"the index cannot grow";
    case ORB_INDEX_FAILED:
        return L"the index cannot be used";
    case ORB_INDEX_NOT_FOUND:
        return L"there is no index";
    default:
        return L"no result of this library";
    }
}

uint32_t ORB_CALL OrbVersion(void) { return ORB_VERSION_MAJOR << 16 | ORB_VERSION_MINOR << 8 | ORB_VERSION_PATCH; }
