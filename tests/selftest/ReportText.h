// Texts of reports. Any thread.
#pragma once

#include <string>
#include <string_view>

// Returns the text for XML and HTML, as content or as the value of an attribute: UTF-8 without the characters that XML
// does not have.
std::string Escaped(std::string_view text);
// Returns seconds with three digits, and a point in every locale.
std::string Seconds(double seconds);
