// Settings and log of a case's own; the log is closed before the folder goes.
#pragma once

#include "companions/logging/OrbLogging.h"
#include "tests/support/TempFolder.h"

#include <windows.h>

class DataOfItsOwn
{
public:
    explicit DataOfItsOwn(const TempFolder& folder)
    {
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder.Path(L"settings"));
    }
    ~DataOfItsOwn() { g_OrbLog.Close(); }
    DataOfItsOwn(const DataOfItsOwn&) = delete;
    DataOfItsOwn& operator=(const DataOfItsOwn&) = delete;
};
