/// @file
/// Which selection and which index the data folder belongs to.
///
/// The dump, the running marks and the due enumerations of a data folder are those of one selection and one index. The
/// service-run settings remember which (docs/settings.md). Any thread.
#pragma once

#include "companions/settings/OrbSettings.h"

/// The keys, in the service-run settings, of the selection, the index and the index's identity.
inline constexpr const wchar_t* SelectionKey = L"Backup::Selection";
inline constexpr const wchar_t* IndexKey = L"Backup::Index";                 ///< see SelectionKey
inline constexpr const wchar_t* IndexIdentityKey = L"Backup::IndexIdentity"; ///< see SelectionKey

/// A selection and an index. A path that is empty is not known, and is not compared.
struct FolderUse {
    CString selection; ///< the file of rules
    CString index;     ///< the database
};

/// Reads what the data folder belongs to. Both paths are empty when it remembers nothing.
ORBSETTINGS_API FolderUse GetFolderUse();
/// Returns the identity (IndexIdentity) of the index with which the data folder was used last; empty when it remembers
/// none.
ORBSETTINGS_API CString GetFolderIndexIdentity();
/// Remembers the identity of the index. Returns false when that cannot be written.
ORBSETTINGS_API bool SetFolderIndexIdentity(const CString& identity);
/// Returns true when no known path of the one names another file than that of the other.
ORBSETTINGS_API bool AreSameUse(const FolderUse& left, const FolderUse& right);
/// Remembers what the data folder belongs to, in one save; paths that are not known stay as they were. Returns false
/// when that cannot be written.
ORBSETTINGS_API bool SetFolderUse(const FolderUse& use);
/// Gives the data folder to another selection or index. A full enumeration becomes due in the same save, because
/// nothing that the folder holds says what is pending for the new one. Returns false when that cannot be written.
ORBSETTINGS_API bool TakeOverFolder(const FolderUse& use);
