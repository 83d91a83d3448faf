// Profile numbers with a special meaning, and how a number is read from the statistics file.
#pragma once

#include <cstdint>

// Rules of these two profiles belong to no stored profile.
constexpr int ManualPathsProfile = -1;      // added or removed one by one
constexpr int FileFolderFilterProfile = -2; // companions of folders that were added
// No rates are stored for these numbers, which are the table's own keys.
constexpr std::int32_t NoProfile = -10;
constexpr std::int32_t EmptyProfile = -11;
