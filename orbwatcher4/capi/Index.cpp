// The index of a service.
#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/capi/Border.h"
#include "orbwatcher4/capi/SharedLock.h"
#include "orbwatcher4/capi/WatcherObject.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

struct OrbIndexObject {
    SharedLock lock;
    CIndexDB database; // guarded by lock
};

namespace
{

OrbResult CodeOf(CIndexDB::Error error)
{
    switch (error) {
    case CIndexDB::Error::Locked:
        return ORB_INDEX_LOCKED;
    case CIndexDB::Error::ReadOnly:
        return ORB_INDEX_READ_ONLY;
    case CIndexDB::Error::Corrupt:
        return ORB_INDEX_CORRUPT;
    case CIndexDB::Error::Newer:
        return ORB_INDEX_NEWER;
    case CIndexDB::Error::Full:
        return ORB_INDEX_FULL;
    case CIndexDB::Error::NotFound:
        return ORB_INDEX_NOT_FOUND;
    case CIndexDB::Error::None:
    case CIndexDB::Error::Failed:
        break;
    }
    return ORB_INDEX_FAILED;
}

void Require(bool done, const CIndexDB& database)
{
    if (!done)
        throw Refused{CodeOf(database.GetLastDbError()), std::wstring(database.GetLastDbErrorText().View())};
}

OrbIndexOptions OptionsOf(const OrbIndexOptions* given)
{
    if (given)
        return CopyIn(given);
    OrbIndexOptions options = {};
    options.writable = 1;
    return options;
}

void Open(CIndexDB& database, const std::wstring& path, const OrbIndexOptions& options)
{
    constexpr uint32_t longest = 0x7FFFFFFF;
    database.SetDBFilePath(path.c_str());
    const uint32_t timeout = std::min(options.timeoutMilliseconds, longest);
    Require(database.Open(options.writable != 0, options.exclusive != 0, static_cast<int>(timeout)), database);
    if (options.sizeLimit != 0)
        Require(database.SetSizeLimit(options.sizeLimit), database);
    Require(database.LoadCache(), database);
}

// Returns the path in a struct of the caller.
CString PathOf(const wchar_t (&field)[ORB_PATH_CAPACITY])
{
    const std::wstring_view path(field, wcsnlen(field, ORB_PATH_CAPACITY));
    if (path.empty() || path.size() == ORB_PATH_CAPACITY)
        throw Refused{ORB_BAD_ARGUMENT, L"the record's path is empty or does not end"};
    return CString(path);
}

ItemDatum ItemOf(const OrbPendingFile& file)
{
    ItemDatum item;
    item.path = PathOf(file.path);
    item.kind = file.flags & ORB_DIRECTORY ? 1 : 0;
    item.flags = item.kind ? CachedDatum::Folder : 0;
    item.modificationTime = static_cast<std::uint64_t>(file.modificationTime);
    return item;
}

// The caller's structs lie one behind the other, with the size that the first one has.
std::vector<OrbPendingFile> CopyAll(const OrbPendingFile* files, uint32_t count)
{
    std::vector<OrbPendingFile> copies;
    const auto* bytes = reinterpret_cast<const std::byte*>(files);
    for (uint32_t i = 0; i < count; ++i) {
        const auto* file = reinterpret_cast<const OrbPendingFile*>(bytes + std::size_t(i) * Required(files).size);
        if (file->size != files->size)
            throw Refused{ORB_BAD_SIZE};
        copies.push_back(CopyIn(file));
    }
    return copies;
}

// All in one commit; when that fails, each alone, so that one file keeps no other out.
void RecordAll(CIndexDB& database, const std::vector<ItemDatum>& items, const std::vector<std::size_t>& places,
               std::vector<OrbResult>& results)
{
    if (items.empty() || database.RecordItems(items))
        return;
    for (std::size_t i = 0; i < items.size(); ++i)
        if (!database.RecordItem(items[i]))
            results[places[i]] = NoteFailure(CodeOf(database.GetLastDbError()), database.GetLastDbErrorText().View());
}

// Returns false for an item that was recorded again because its file came back.
bool IsStillDeleted(std::uint64_t id)
{
    CachedDatum datum;
    return CIndexDB::GetCachedData(id, datum) && (datum.flags & CachedDatum::NoDeleteRecord);
}

void Forget(OrbIndexObject& index, const wchar_t* path) { Require(index.database.ForgetItem(path), index.database); }

} // namespace

OrbResult ORB_CALL OrbIndexOpen(const wchar_t* path, const OrbIndexOptions* options, OrbIndexHandle* index)
{
    return Guarded([&] {
        Required(index) = nullptr;
        auto opened = std::make_unique<OrbIndexObject>();
        Open(opened->database, RequiredText(path), OptionsOf(options));
        *index = opened.release();
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbIndexRecord(OrbIndexHandle index, const OrbPendingFile* file)
{
    return Guarded([&] {
        const OrbPendingFile copy = CopyIn(file);
        const ItemDatum item = ItemOf(copy);
        if (copy.modificationTime < 0)
            throw Refused{ORB_FILE_UNREADABLE};
        const std::scoped_lock lock(Required(index).lock);
        Require(index->database.RecordItem(item), index->database);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbIndexRecordMany(OrbIndexHandle index, OrbWatcherHandle watcher, const OrbPendingFile* files,
                                      uint32_t count, OrbResult* results)
{
    return Guarded([&] {
        Required(index);
        const std::vector<OrbPendingFile> copies = CopyAll(files, count);
        std::vector<OrbResult> codes(count, ORB_OK);
        std::vector<ItemDatum> items;
        std::vector<std::size_t> places;
        std::vector<CString> paths;
        for (std::size_t i = 0; i < copies.size(); ++i) {
            const ItemDatum item = ItemOf(copies[i]);
            if (copies[i].modificationTime < 0) {
                codes[i] = ORB_FILE_UNREADABLE;
                continue;
            }
            items.push_back(item);
            places.push_back(i);
            paths.push_back(item.path);
        }
        if (watcher)
            watcher->WhileWatching([](COrbWatcher&) {});
        {
            const std::scoped_lock lock(index->lock);
            RecordAll(index->database, items, places, codes);
        }
        if (watcher)
            watcher->WhileWatching([&](COrbWatcher& running) { running.LookAgainAfterRecording(paths); });
        if (results)
            std::copy(codes.begin(), codes.end(), results);
        const auto failed = std::find_if(codes.begin(), codes.end(), [](OrbResult code) { return code != ORB_OK; });
        return failed == codes.end() ? ORB_OK : NoteFailure(*failed);
    });
}

OrbResult ORB_CALL OrbIndexForget(OrbIndexHandle index, const wchar_t* path)
{
    return Guarded([&] {
        const std::wstring text = RequiredText(path);
        const std::scoped_lock lock(Required(index).lock);
        Forget(*index, text.c_str());
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbIndexForgetDeleted(OrbIndexHandle index, const OrbDeletion* deletion)
{
    return Guarded([&] {
        const OrbDeletion copy = CopyIn(deletion);
        const CString path = PathOf(copy.path);
        const std::scoped_lock lock(Required(index).lock);
        if (!IsStillDeleted(copy.id))
            return ORB_NOTHING;
        Forget(*index, path);
        return ORB_OK;
    });
}

void ORB_CALL OrbIndexClose(OrbIndexHandle index) { delete index; }
