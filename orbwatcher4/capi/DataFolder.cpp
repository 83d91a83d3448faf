// The place where the product keeps its data.
#include "companions/settings/DataFolder.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/capi/WatcherObject.h"

OrbResult ORB_CALL OrbSetDataFolder(const wchar_t* folder)
{
    return Guarded([&] {
        const std::wstring text = folder ? RequiredText(folder) : std::wstring();
        if (OrbWatcherObject::Count() != 0)
            throw Refused{ORB_WRONG_STATE, L"a watcher exists; set the data folder before the first one"};
        g_OrbLog.Close();
        return SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder ? text.c_str() : nullptr) ? ORB_OK : ORB_FAILED;
    });
}

OrbResult ORB_CALL OrbGetDataFolder(wchar_t* buffer, uint32_t capacity, uint32_t* needed)
{
    return Guarded([&] { return GiveText(DataFolder::Path().View(), buffer, capacity, needed); });
}
