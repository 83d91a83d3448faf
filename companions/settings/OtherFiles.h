/// @file
/// The files in the data folder that are not the product's own.
///
/// Nothing in the data folder is ever backed up, so a file of a user there would be missing from every backup. Any
/// thread.
#pragma once

#include "companions/settings/OrbSettings.h"

#include <cstddef>
#include <vector>

/// Returns files in the folder and below it that do not have the name of one of the product's files: at most `most`.
/// Databases are not known here, and are among them. `folder`: full path. Links are not followed.
ORBSETTINGS_API std::vector<CString> FindOtherFiles(const CString& folder, std::size_t most);
