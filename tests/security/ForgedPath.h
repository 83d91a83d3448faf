// Makes a path that has the key of another one. Keys are hashes without a secret, and every step of the hash can be
// undone: that takes some hundred tries, no search.
#pragma once

#include <string>
#include <string_view>

// A path that begins with `folder` (which ends in a backslash) and ends in `ending` (shorter than eight units), with
// the key of `victim`: PathHash64 yields the same for both. All units that are added are printable letters.
std::wstring ForgedPath(std::wstring_view folder, std::wstring_view victim, std::wstring_view ending = {});
