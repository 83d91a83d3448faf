// Opens the product's own files. A user of the machine may have been at the data folder first, and may have left files
// or links there that make a service read what it should not believe, or write where that user could not.
//
// A file is trusted when it belongs to a trusted account (HandleOwner.h), is no link, has no second name, and lies in a
// folder that is trusted in the same way. All checks are made on the open handle, and nothing is written or truncated
// before them. The folders above are not checked: the account that chose the place answers for them. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"

// The error for a link: ERROR_STOPPED_ON_SYMLINK, which the headers of MinGW do not name. Leave a link where it is:
// under Wine, moving or deleting it moves or deletes its target.
constexpr DWORD LinkMet = 681;

// Opens the file as CreateFileW does; `disposition` is OPEN_EXISTING, OPEN_ALWAYS or CREATE_NEW. Returns no handle when
// that fails or the file is not trusted; the last error says why. A link is never followed.
FileHandle OpenTrusted(const CString& path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                       DWORD disposition);

// Returns false, with a last error, when the folder does not exist or is not trusted.
bool IsTrustedFolder(const CString& folder);

// Returns true for the errors that mean "it exists and is not trusted".
bool IsDistrust(DWORD error);
// Returns what is wrong and what to do about it, for an error of this kind; otherwise the error's number: "error 5".
CString OpeningFailure(DWORD error);
