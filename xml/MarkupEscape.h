// Entities: converts a plain text to its form in a document, and back.
//
// Only the five names of XML itself and numeric references are known. Every other ampersand is an ordinary character,
// because files from the field have such ampersands. Any thread may call these functions; they keep no state.
#pragma once

#include <string>
#include <string_view>

// Escapes text between tags: replaces "<", "&" and ">".
std::wstring EscapeText(std::wstring_view text);
// Escapes an attribute value: replaces both quotation marks as well.
std::wstring EscapeAttribute(std::wstring_view text);

// Returns true when the text has an ampersand that begins nothing known, and so stays as it is.
bool HasPlainAmpersand(std::wstring_view text);

// Appends the decoded text to `out`.
void Unescape(std::wstring_view text, std::wstring& out);
