// Makes a path that has the key of another one. Keys are hashes without a secret, and every step of the hash can be
// undone: that takes some hundred tries and no search.
#pragma once

#include <string>
#include <string_view>

// Returns a path that begins with `folder` (which ends in a backslash), ends in `ending` (shorter than eight units),
// and has the key of `victim`: PathHash64 returns the same for both. All added units are printable letters.
std::wstring ForgedPath(std::wstring_view folder, std::wstring_view victim, std::wstring_view ending = {});
