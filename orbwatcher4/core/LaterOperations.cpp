// Operations whose work has not been built yet. Each does nothing that it could
// not finish, and says so through its result.
#include "orbwatcher4/core/WatcherState.h"

int COrbWatcher::StartFirstTimeRun(int) { return 0; }
bool COrbWatcher::FirstRun(const wchar_t* drive) { return EnumerateIncludedFiles(drive, L"*", true); }
bool COrbWatcher::EnumerateIncludedFiles(const wchar_t*, const wchar_t*, bool) { return true; }
void COrbWatcher::FileFoundCallback(const wchar_t*, unsigned __int64) {}
void COrbWatcher::FolderFoundCallback(const wchar_t* path) { FileFoundCallback(path, 0); }
void COrbWatcher::UpdateDrive(const wchar_t*, WatcherEnum::DriveAction) {}
bool COrbWatcher::GetWatchedDrives(CString&) { return true; }
unsigned __stdcall COrbWatcher::_FirstRunAllDrives(void*) { return 0; }
unsigned __stdcall COrbWatcher::_FirstRunSingleDrive(void*) { return 0; }

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
