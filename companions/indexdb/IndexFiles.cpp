#include "companions/indexdb/IndexFiles.h"

#include "mfc/CString.h"
#include "support/Handle.h"
#include "support/OwnerAccess.h"

#include <sqlite3.h>

#include <windows.h>

#include <new>
#include <string_view>

namespace
{

constexpr const char* LayerName = "orb-owner";

// The system's layer. Its files are used as they are; this layer only makes them in another way.
const sqlite3_vfs* g_system = nullptr;

CString WidePath(std::string_view path)
{
    const int bytes = static_cast<int>(path.size());
    const int count = MultiByteToWideChar(CP_UTF8, 0, path.data(), bytes, nullptr, 0);
    CString wide;
    MultiByteToWideChar(CP_UTF8, 0, path.data(), bytes, wide.GetBuffer(count), count);
    wide.ReleaseBuffer(count);
    return wide;
}

bool IsLink(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Returns true for a link without a target, or with an empty one: opening it would make an index there. A link to a
// file with contents, an index or not, is opened as it is.
bool LeadsToNothing(const CString& path)
{
    if (!IsLink(path))
        return false;
    const FileHandle target(CreateFileW(path, FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size;
    return !target || !GetFileSizeEx(target.Get(), &size) || size.QuadPart == 0;
}

// Returns true when the file exists. A file that existed before keeps its access list.
bool MakeForOwner(const CString& path)
{
    OwnerAccess access;
    const FileHandle file(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      access.Attributes(), CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return file || GetLastError() == ERROR_FILE_EXISTS;
}

// Prepares the shared memory of a write-ahead log, which SQLite makes without asking this layer.
bool PrepareSharedMemory(const CString& log)
{
    const CString memory = log.Left(log.ReverseFind(L'-')) + L"-shm";
    if (IsLink(memory))
        return false;
    MakeForOwner(memory);
    return true;
}

// Makes the file when it must be made, and removes that from the flags. Returns false when the file is a link that must
// not be followed.
bool Prepare(const CString& path, int& flags)
{
    if (!(flags & SQLITE_OPEN_CREATE) || (flags & (SQLITE_OPEN_EXCLUSIVE | SQLITE_OPEN_DELETEONCLOSE)))
        return true;
    if (flags & SQLITE_OPEN_MAIN_DB ? LeadsToNothing(path) : IsLink(path))
        return false;
    // If it cannot be made, opening it with the same flags fails and says why.
    if (MakeForOwner(path))
        flags &= ~SQLITE_OPEN_CREATE;
    return !(flags & SQLITE_OPEN_WAL) || PrepareSharedMemory(path);
}

int OpenFile(sqlite3_vfs* layer, sqlite3_filename name, sqlite3_file* file, int flags, int* usedFlags)
{
    try {
        if (name && !Prepare(WidePath(name), flags)) {
            file->pMethods = nullptr;
            return SQLITE_CANTOPEN_SYMLINK;
        }
    } catch (const std::bad_alloc&) {
        file->pMethods = nullptr;
        return SQLITE_NOMEM;
    }
    return g_system->xOpen(layer, name, file, flags, usedFlags);
}

const char* Register()
{
    static sqlite3_vfs layer;
    g_system = sqlite3_vfs_find(nullptr);
    if (!g_system)
        return nullptr;
    layer = *g_system;
    layer.pNext = nullptr;
    layer.zName = LayerName;
    layer.xOpen = OpenFile;
    return sqlite3_vfs_register(&layer, 0) == SQLITE_OK ? LayerName : nullptr;
}

} // namespace

const char* IndexFiles::Name()
{
    static const char* const name = Register();
    return name;
}
