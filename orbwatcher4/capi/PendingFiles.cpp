// Hands out pending files and takes them back.
#include "orbwatcher4/capi/WatcherObject.h"

namespace
{

static_assert(ORB_PATH_CAPACITY == QueueDatum::PathCapacity);
static_assert(ORB_RULE_TEXTS_CAPACITY == QueueDatum::FirstTextCapacity);
static_assert(ORB_RULE_NUMBERS_CAPACITY == QueueDatum::SecondTextCapacity);
static_assert(ORB_FILE == QueueFlags::File && ORB_DIRECTORY == QueueFlags::Directory && ORB_NEW == QueueFlags::New);
static_assert(ORB_BLOCK_LEVEL == QueueFlags::BlockLevel && ORB_INTERNAL == QueueFlags::Internal);
static_assert(ORB_EVEN_WHEN_HIDDEN == QueueFlags::EvenWhenHidden && ORB_SHOW_OVERLAY == QueueFlags::ShowOverlay);
static_assert(ORB_RULE_WITHOUT_TEXT == QueueFlags::RuleWithoutText &&
              ORB_DEDUP_CANDIDATE == QueueFlags::DedupCandidate);

void Give(const QueueDatum& datum, const FileIdentity& identity, OrbPendingFile* file)
{
    OrbPendingFile filled = {};
    filled.flags = datum.flags;
    filled.id = datum.id;
    filled.fileSize = datum.size;
    filled.modificationTime = datum.modificationTime;
    filled.creationTime = datum.creationTime;
    filled.attributes = datum.attributes;
    filled.ruleValue = datum.ruleValue;
    PutText(filled.path, datum.path);
    PutText(filled.ruleTexts, datum.firstText);
    PutText(filled.ruleNumbers, datum.secondText);
    filled.fileId = identity.fileId;
    filled.volumeSerial = identity.volumeSerial;
    CopyOut(filled, file);
}

// Does not ask an empty queue, because each request writes a line to the log.
bool Take(COrbWatcher& watcher, QueueDatum& datum, FileIdentity& identity)
{
    return watcher.GetTotalFilesInMem() != 0 && watcher.GetSingleNotification(nullptr, datum, &identity);
}

} // namespace

OrbResult ORB_CALL OrbPendingTake(OrbWatcherHandle watcher, OrbPendingFile* file)
{
    return Guarded([&] {
        RequireSize(file);
        QueueDatum datum;
        FileIdentity identity;
        if (!Required(watcher).WhileWatching([&](COrbWatcher& running) { return Take(running, datum, identity); }))
            return ORB_NOTHING;
        Give(datum, identity, file);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbPendingPutBack(OrbWatcherHandle watcher, const wchar_t* path)
{
    return Guarded([&] {
        const std::wstring text = RequiredText(path);
        Required(watcher).WhileWatching(
            [&](COrbWatcher& running) { return running.AddSingleNotification(text.c_str()); });
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbPendingCount(OrbWatcherHandle watcher, int64_t* count)
{
    return Guarded([&] {
        Required(count);
        *count = Required(watcher).WhileWatching([](COrbWatcher& running) { return running.GetTotalFilesInMem(); });
        return ORB_OK;
    });
}
