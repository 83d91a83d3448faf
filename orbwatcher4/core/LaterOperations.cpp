// Operations whose work has not been built yet. Each does nothing that it could
// not finish, and says so through its result.
#include "orbwatcher4/core/WatcherState.h"

bool COrbWatcher::FillPluginTable() { return true; }
void COrbWatcher::CleanAddedFilters(FilterList&) {}
void COrbWatcher::XMLMerge(const wchar_t*, FilterList&) {}
void COrbWatcher::XMLMerge(CMarkup&, FilterList&) {}
bool COrbWatcher::ExportFilesToXML(const wchar_t*, int& count)
{
    count = 0;
    return false;
}

unsigned __stdcall COrbWatcher::_FirstTimeAutoExOverlayUpdater(void*) { return 0; }
