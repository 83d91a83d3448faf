// The service-run settings of a data folder, read without the library: the library's own settings are those of the
// doctor's folder meanwhile (ScratchFolder). One thread.
#pragma once

#include "companions/settings/FolderUse.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

struct FolderMemory {
    FolderUse owner;
    CString indexIdentity;
    std::optional<CString> dump;               // nothing: not said
    std::optional<std::int64_t> fullCompleted; // seconds since 1970, 0: a full enumeration is due; nothing: not said
    CString dueReason;                         // one of FullDue; may be empty
    CString selectionContent;                  // may be empty
    std::set<CString> destinations;            // each ends in a backslash
    std::set<CString> rescans;                 // roots

    bool IsOwned() const { return !owner.selection.IsEmpty() || !owner.index.IsEmpty() || !indexIdentity.IsEmpty(); }
};

// Returns what is in the file; nothing when it cannot be read.
std::string ReadBytes(const std::wstring& path);
// Returns what a settings file of the folder holds, or a value of another kind than an object when that cannot be read.
nlohmann::json ReadSettingsFile(const std::wstring& dataFolder, const wchar_t* name);
// Returns the member "name" of the section, for a key "section::name"; null when there is none.
nlohmann::json SettingOf(const nlohmann::json& settings, std::wstring_view key);

// Everything is empty when there are no settings, or when they cannot be read.
FolderMemory ReadFolderMemory(const std::wstring& dataFolder);
