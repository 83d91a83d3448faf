// Adds rules while the watcher runs, and queues the files that they select. Any thread.
#pragma once

#include "orbwatcher4/AddedRules.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"

class RuleAddition
{
public:
    // The handler must outlive the object.
    RuleAddition(const IntakeParts& parts, ChangeHandler& handler) : m(parts), m_handler(handler) {}

    // See COrbWatcher::AddNewQueueItem.
    AddQueueItemResult Add(const wchar_t* xmlPath, bool deleteWhenDone, std::vector<ExcludedInfo>* excluded,
                           bool mergeOnly);

private:
    AddQueueItemResult TakeAndQueue(const wchar_t* xmlPath, bool deleteWhenDone, std::vector<ExcludedInfo>* excluded,
                                    bool mergeOnly);
    bool QueueAccepted(const FilterList& accepted, std::vector<ExcludedInfo>* excluded, bool mayLook);
    void Queue(const CString& path);
    void MarkExclusions(const FilterList& accepted);

    const IntakeParts m;
    ChangeHandler& m_handler;
};
