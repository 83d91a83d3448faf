#include "tests/capi/FromC.h"

#include <wchar.h>

_Static_assert(sizeof(OrbPendingFile) == 4696, "a caller in another language counts on these");
_Static_assert(offsetof(OrbPendingFile, path) == 48, "a caller in another language counts on these");
_Static_assert(sizeof(OrbWatcherOptions) == 64, "a caller in another language counts on these");
_Static_assert(sizeof(OrbDeletion) == 3088, "a caller in another language counts on these");
_Static_assert(sizeof(OrbRule) == 48, "a caller in another language counts on these");

OrbResult BeginFromC(RoundFromC* round, const wchar_t* selection, const wchar_t* index)
{
    OrbWatcherOptions options = {.size = sizeof options, .selection = selection, .indexDatabase = index};
    OrbResult result = OrbIndexOpen(index, NULL, &round->index);
    if (result == ORB_OK)
        result = OrbWatcherCreate(&options, &round->watcher);
    if (result == ORB_OK)
        result = OrbWatcherStart(round->watcher, 60000);
    return result;
}

OrbResult TakeFromC(RoundFromC* round, wchar_t* path, uint32_t capacity)
{
    OrbPendingFile file = {.size = sizeof file};
    OrbResult result = OrbPendingTake(round->watcher, &file);
    if (result == ORB_OK && wcslen(file.path) < capacity)
        wcscpy(path, file.path);
    return result == ORB_OK ? OrbIndexRecord(round->index, &file) : result;
}

OrbResult EndFromC(RoundFromC* round)
{
    OrbResult result = OrbWatcherStop(round->watcher);
    OrbWatcherDestroy(round->watcher);
    OrbIndexClose(round->index);
    return result;
}
