#include "tests/faults/FaultyWatcher.h"

#include <cstdio>
#include <thread>

namespace
{

// More calls than any of the operations makes on its tiny tree.
constexpr int MostCalls = 20000;
constexpr DWORD Long = 20000; // for events that come at once unless something is wrong

// Memory is asked for thousands of times, much alike: each of the first ones is tried, then ever fewer.
int Next(const FaultKind& kind, int call)
{
    static const bool every = GetEnvironmentVariableW(L"ORB_EVERY_FAULT", nullptr, 0) != 0;
    const bool many = kind.error == ERROR_NOT_ENOUGH_MEMORY;
    return call + 1 + (every || !many ? 0 : call / 12);
}

} // namespace

void FaultyWatcher::TryFaults(const Operation& operation)
{
    int tried = 0;
    int handles = 0;
    for (const auto lasting : {FaultPlan::Lasting::Once, FaultPlan::Lasting::FromThenOn}) {
        for (int call = 1; Attempt(operation, call, lasting); call = Next(GetParam(), call)) {
            ASSERT_LT(call, MostCalls) << "the operation never ends without the fault";
            if (++tried == 1)
                handles = OpenHandles();
            if (HasFailure())
                return;
        }
    }
    EXPECT_TRUE(tried > 0 || operation.mayNeedNone) << "the fault was never met";
    EXPECT_TRUE(tried == 0 || OpenHandles() <= handles + 2)
        << "handles were left open"; // a file of the log, a fact kept for good
    std::printf("faults tried: %s, %s, %d\n", GetParam().name.c_str(), operation.name, tried);
    RecordProperty("faultsTried", tried);
}

// False when the fault was not met any more, or something is wrong.
bool FaultyWatcher::Attempt(const Operation& operation, int call, FaultPlan::Lasting lasting)
{
    SCOPED_TRACE(testing::Message() << operation.name << ", " << GetParam().name << " at call " << call
                                    << (lasting == FaultPlan::Lasting::Once ? "" : " and from then on"));
    operation.prepare();
    log.Clear();
    bool escaped = false;
    {
        const FaultPlan plan(GetParam(), call, lasting);
        try {
            operation.run();
        } catch (...) {
            escaped = true;
        }
    }
    EXPECT_FALSE(escaped) << "an exception has left the operation";
    if (!AreLocksFree()) {
        ADD_FAILURE() << "a lock is still held";
        std::fflush(stdout);
        ExitProcess(1); // nothing could be cleaned up any more
    }
    operation.check();
    return FaultPlan::WasReached() && !HasFailure();
}

bool FaultyWatcher::AreLocksFree()
{
    CEvent done(false, true);
    std::thread visitor([&] {
        WatcherAccess::VisitLocks(watcher);
        GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, 0);
        done.SetEvent();
    });
    const bool free = done.Lock(Long);
    if (free)
        visitor.join();
    else
        visitor.detach();
    return free;
}

void FaultyWatcher::NoteEnumerationDone()
{
    GetServiceRunSettings().Load();
    GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, 12345);
    ASSERT_TRUE(GetServiceRunSettings().Save());
}

bool FaultyWatcher::IsEnumerationDue()
{
    if (!RunningMark::FindLeft().empty())
        return true;
    const std::string settings = folder.ReadBytes(L"data\\ServiceRunSettings.json");
    return settings.find("\"FirstTimeRunTime\": 0") != std::string::npos;
}

bool FaultyWatcher::IsKeptForNextRun(const CString& path)
{
    return IsEnumerationDue() || Dump().find(std::wstring(path) + L"\n") != std::wstring::npos;
}

void FaultyWatcher::MarkDeleted(const CString& path)
{
    auto notification = std::make_shared<Notification>();
    notification->kind = NotificationKind::Deleted;
    notification->timeStamp = clock.FileTime();
    Parts().pending.Put(path, notification);
}

void FaultyWatcher::WriteDump(const std::vector<CString>& paths)
{
    std::wstring text;
    for (const CString& path : paths)
        text += std::wstring(path) + L"\n";
    folder.WriteBytes(L"data\\watcher_dump.bin",
                      std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)));
}

std::wstring FaultyWatcher::Dump()
{
    if (GetFileAttributesW(DumpFilePath()) == INVALID_FILE_ATTRIBUTES)
        return {};
    const std::string bytes = folder.ReadBytes(L"data\\watcher_dump.bin");
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

void FaultyWatcher::InitAgain()
{
    watcher.Init();
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.SetIndexDB(folder.Path(L"index.db"));
    watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
}

bool FaultyWatcher::HasErrorInLog()
{
    const std::vector<LogCapture::Line> lines = log.Lines();
    return std::any_of(lines.begin(), lines.end(),
                       [](const LogCapture::Line& line) { return line.level == LogLevel::Error; });
}

std::vector<CString> FaultyWatcher::PendingPaths()
{
    std::vector<CString> paths;
    const PendingStore::Locked store(Parts().pending);
    store->ForEach([&](const CString& path, const NotificationPtr&) {
        paths.push_back(path);
        return true;
    });
    return paths;
}
