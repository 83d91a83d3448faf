// Texts of the system as UTF-8 bytes, and back. Invalid units or bytes become U+FFFD. Any thread; throws
// std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);
