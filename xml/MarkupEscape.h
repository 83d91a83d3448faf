// Entities: from a plain text to what stands in a document, and back.
//
// Only the five names of XML itself and numeric references are known; every
// other ampersand is an ordinary character, as files from the field hold such.
// Any thread may call these functions; they keep nothing.
#pragma once

#include <string>
#include <string_view>

// For text between tags: "<", "&" and ">" are replaced.
std::wstring EscapeText(std::wstring_view text);
// For attribute values: both quotation marks are replaced as well.
std::wstring EscapeAttribute(std::wstring_view text);

// Appends the decoded text to `out`.
void Unescape(std::wstring_view text, std::wstring& out);
