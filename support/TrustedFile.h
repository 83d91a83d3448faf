// Opening the product's own files. A user of the machine may have been at the data
// folder first, and have left files or links there that make a service read what it
// should not believe, or write where that user could not.
//
// A file is trusted when it belongs to an account that is trusted (HandleOwner.h), is
// no link and has no second name, and lies in a folder that is trusted in the same way.
// All of that is asked of the open handle, and nothing is written or cut short before.
// The folders above are the business of whoever has chosen the place. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"

// The error of a link: ERROR_STOPPED_ON_SYMLINK, which the headers of MinGW do not name. Leave a link where it is:
// under Wine, to move or delete it is to do that to its target.
constexpr DWORD LinkMet = 681;

// Opens the file as CreateFileW does; `disposition` is OPEN_EXISTING, OPEN_ALWAYS or CREATE_NEW. No handle when that
// fails or the file is not trusted; the last error says why. A link is never followed.
FileHandle OpenTrusted(const CString& path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                       DWORD disposition);

// False, with a last error, when the folder is not there or not trusted.
bool IsTrustedFolder(const CString& folder);

// True for the errors that say that something is there and not trusted.
bool IsDistrust(DWORD error);
// What is wrong and what to do about it, for an error of this kind; otherwise its number: "error 5".
CString OpeningFailure(DWORD error);
