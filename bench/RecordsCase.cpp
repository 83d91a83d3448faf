// A million changes, from what the system writes into a watch's buffer to the handler, against the bare messages that
// carry as many from one thread to another.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "directory_changes/ChangeIo.h"
#include "directory_changes/DelayedNotifier.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/support/TempFolder.h"

#include <windows.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int records = 1'000'000;
constexpr int recordsARead = 1'000;

// Each read completes at once, until a million changes were read; from then on they wait as ever.
class BusyIo final : public ChangeIo
{
public:
    explicit BusyIo(const std::vector<std::uint8_t>& changes) : m_changes(changes) {}

    HANDLE AssociatePort(HANDLE directory, HANDLE port, ULONG_PTR key) override
    {
        m_port = ChangeIo::AssociatePort(directory, port, key);
        m_key = key;
        return m_port;
    }
    bool ReadChanges(HANDLE, void* buffer, DWORD length, bool, DWORD, OVERLAPPED* overlapped) override
    {
        m_buffer = buffer;
        m_length = length;
        m_overlapped = overlapped;
        overlapped->Internal = STATUS_PENDING;
        return m_left == 0 || Complete();
    }
    void CloseDirectory(HANDLE directory) override
    {
        ChangeIo::CloseDirectory(directory);
        PostPacket(m_port, 0, m_key, m_overlapped);
    }
    void Begin()
    {
        m_left = records / recordsARead;
        Complete();
    }

private:
    bool Complete()
    {
        if (m_length < m_changes.size())
            return false;
        --m_left;
        m_overlapped->Internal = 0;
        std::memcpy(m_buffer, m_changes.data(), m_changes.size());
        return PostPacket(m_port, static_cast<DWORD>(m_changes.size()), m_key, m_overlapped);
    }

    const std::vector<std::uint8_t>& m_changes;
    HANDLE m_port = nullptr;
    ULONG_PTR m_key = 0;
    // These describe the pending read. The watch has been started when the case begins, and only its worker reads from
    // then on.
    void* m_buffer = nullptr;
    DWORD m_length = 0;
    OVERLAPPED* m_overlapped = nullptr;
    int m_left = 0;
};

// Names as they come: files of a few folders, created and written.
std::vector<std::uint8_t> Changes()
{
    RecordBuffer buffer;
    for (int i = 0; i < recordsARead; ++i)
        buffer.Add(i % 4 == 0 ? 1 : 3,
                   L"projects\\part " + std::to_wstring(i / 50) + L"\\document " + std::to_wstring(i) + L".docx");
    return buffer.Bytes();
}

// Counts until all have arrived.
class Arrivals
{
public:
    void One()
    {
        if (++m_count == records)
            m_all.SetEvent();
    }
    bool WaitForAll() { return m_all.Lock(600'000); }

private:
    int m_count = 0; // by one thread
    CEvent m_all{false, true};
};

class CountingHandler final : public CDirectoryChangeHandler
{
public:
    void OnFileAdded(const wchar_t*) override { arrivals.One(); }
    void OnFileModified(const wchar_t*) override { arrivals.One(); }
    Arrivals arrivals;
};

void ThroughTheEngine(benchmark::State& state)
{
    const std::vector<std::uint8_t> changes = Changes();
    const TempFolder folder;
    for (auto _ : state) {
        state.PauseTiming();
        BusyIo io(changes);
        CountingHandler handler;
        CDirectoryChangeWatcher watcher(io, false, 1);
        if (watcher.WatchDirectory(folder.Path(), &handler) != ERROR_SUCCESS)
            return state.SkipWithError("the folder cannot be watched");
        state.ResumeTiming();
        io.Begin();
        if (!handler.arrivals.WaitForAll())
            return state.SkipWithError("changes were lost");
        state.PauseTiming();
        watcher.UnwatchAllDirectories();
        state.ResumeTiming();
    }
}

// The system holds 10,000 messages for a thread; who is refused waits a moment.
void MessagesAlone(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        Arrivals arrivals;
        CEvent ready(false, true);
        DWORD thread = 0;
        std::thread receiver([&] {
            MSG message;
            thread = GetCurrentThreadId();
            PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
            ready.SetEvent();
            while (GetMessageW(&message, nullptr, 0, 0) > 0)
                if (message.message == WM_DELAYED_EVENT)
                    arrivals.One();
        });
        ready.Lock(INFINITE);
        state.ResumeTiming();
        for (int i = 0; i < records; ++i)
            while (!PostThreadMessageW(thread, WM_DELAYED_EVENT, 0, i))
                Sleep(10);
        arrivals.WaitForAll();
        state.PauseTiming();
        PostThreadMessageW(thread, WM_QUIT, 0, 0);
        receiver.join();
        state.ResumeTiming();
    }
}

void Records()
{
    Contest("records", {{"records", records}, {"records a read", recordsARead}})
        .Ours(ThroughTheEngine)
        .Against("the messages alone", 1.25, MessagesAlone)
        .Rounds(3)
        .OnceARound()
        .Run();
}

const Case recordsCase("records", Records);

} // namespace
