// A watcher above the stand-in for the system, with a handler that writes down.
#pragma once

#include "tests/directory_changes/FakeIo.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/support/TempFolder.h"

#include <functional>
#include <string>
#include <thread>
#include <vector>

// The time limit for events that come at once unless something is wrong.
constexpr DWORD Long = 20000;

class FaultFixture : public testing::Test
{
protected:
    using Events = std::vector<std::wstring>;

    TempFolder folder;
    FakeIo io;
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher{io, false, 1};

    ~FaultFixture() override { watcher.UnwatchAllDirectories(); }

    DWORD Watch() { return watcher.WatchDirectory(folder.Path(), &handler); }
    bool Unwatch() { return watcher.UnwatchDirectory(folder.Path().GetString()); }
    std::wstring At(const wchar_t* before, const wchar_t* name = L"")
    {
        return before + std::wstring(folder.Path(name).GetString());
    }
    std::wstring Lost() { return At(L"error 1022 "); }
    std::wstring Started() { return At(L"started 0 "); }
    std::wstring Stopped() { return At(L"stopped "); }
    static bool Until(const std::function<bool()>& reachedThat)
    {
        const ULONGLONG end = GetTickCount64() + Long;
        while (!reachedThat())
            if (GetTickCount64() > end)
                return false;
            else
                std::this_thread::yield();
        return true;
    }
    // The worker tells the error that ends a watch before it takes the watch out.
    bool UntilNotWatching()
    {
        return Until([&] { return !watcher.IsWatchingDirectory(folder.Path()); });
    }
    static FakeIo::Bytes Bytes(std::uint32_t action, const wchar_t* name)
    {
        RecordBuffer buffer;
        return buffer.Add(action, name).Bytes();
    }
};
