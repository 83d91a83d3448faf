// Operations whose work has not been built yet. Each does nothing that it could
// not finish, and says so through its result.
#include "orbwatcher4/core/WatcherState.h"

unsigned __stdcall COrbWatcher::_FirstTimeAutoExOverlayUpdater(void*) { return 0; }
