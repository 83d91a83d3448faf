// An operation of a watcher, tried with a fault at its first call of a kind, its
// second one, and so on, until it comes to its end without meeting it.
#pragma once

#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/faults/FaultPlan.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <functional>

class FaultyWatcher : public WatcherFixture, public testing::WithParamInterface<FaultKind>
{
protected:
    struct Operation {
        const char* name;
        std::function<void()> prepare; // the same state each time
        // Under the fault. Where memory is refused, it must need none of its own.
        std::function<void()> run;
        std::function<void()> check; // afterwards: nothing is lost, and it works again
        bool mayNeedNone = false;    // it may come to its end without a call of the kind
    };

    ~FaultyWatcher() override
    {
        // Ends the runs of a test in an orderly way, so that the next test finds no mark of them.
        watcher.AbortWatching();
        watcher.DeInit();
    }

    // With each fault once, and with all calls refused from some call on.
    void TryFaults(const Operation& operation);

    // Notes that all is enumerated; from then on only a loss makes an enumeration due.
    void NoteEnumerationDone();
    bool IsEnumerationDue();
    // However a run ends, the next one knows of the path, or makes a full enumeration.
    bool IsKeptForNextRun(const CString& path);
    void MarkDeleted(const CString& path);
    // As the last run has left it.
    void WriteDump(const std::vector<CString>& paths);
    std::wstring Dump();
    // A new life of the watcher with the selection of the tree.
    void InitAgain();
    bool HasErrorInLog();
    std::vector<CString> PendingPaths();

private:
    bool Attempt(const Operation& operation, int call, FaultPlan::Lasting lasting);
    bool AreLocksFree();
};
