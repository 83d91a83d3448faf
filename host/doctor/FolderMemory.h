// The service-run settings of a data folder, read without the library: the library's own settings are those of the
// doctor's folder meanwhile (ScratchFolder). One thread.
#pragma once

#include "companions/settings/FolderUse.h"

#include <optional>
#include <string>

struct FolderMemory {
    FolderUse owner;
    CString indexIdentity;
    std::optional<CString> dump; // nothing: not said
    bool fullIsDue = false;      // noted as due; a folder that was never used says nothing
};

// Everything is empty when there are no settings, or when they cannot be read.
FolderMemory ReadFolderMemory(const std::wstring& dataFolder);
