// A million changes, from what the system writes into a watch's buffer to the handler, beside the least that brings
// them to another thread: the same buffers are decoded into paths, which go through a mutex and a deque, and the
// receiver is woken once for all that it finds. The rival has no port, no limit of its queue and no watch that can end.
//
// The case does not show the system's own work for a read, nor a handler that does something.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "directory_changes/ChangeIo.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/support/TempFolder.h"

#include <windows.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
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

// Changes on their way from one thread to another. The receiver is woken when the first one comes into an empty queue.
class PlainQueue
{
public:
    struct Change {
        DWORD action;
        std::wstring path;
    };

    void Put(Change change)
    {
        bool wasEmpty;
        {
            const std::scoped_lock lock(m_mutex);
            wasEmpty = m_changes.empty();
            m_changes.push_back(std::move(change));
        }
        if (wasEmpty)
            m_filled.notify_one();
    }
    // Waits for changes, and takes all that are there.
    std::deque<Change> TakeAll()
    {
        std::unique_lock lock(m_mutex);
        m_filled.wait(lock, [this] { return !m_changes.empty(); });
        return std::exchange(m_changes, {});
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_filled;
    std::deque<Change> m_changes; // guarded by m_mutex
};

void PutAll(const std::vector<std::uint8_t>& changes, const std::wstring& folder, PlainQueue& queue)
{
    for (const std::uint8_t* at = changes.data();;) {
        const auto& record = *reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(at);
        PlainQueue::Change change{record.Action, {}};
        change.path.reserve(folder.size() + record.FileNameLength / sizeof(wchar_t));
        change.path.append(folder).append(record.FileName, record.FileNameLength / sizeof(wchar_t));
        queue.Put(std::move(change));
        if (record.NextEntryOffset == 0)
            return;
        at += record.NextEntryOffset;
    }
}

void ThroughAPlainQueue(benchmark::State& state)
{
    const std::vector<std::uint8_t> changes = Changes();
    const std::wstring folder = L"C:\\Users\\someone\\Documents\\";
    for (auto _ : state) {
        PlainQueue queue;
        std::thread receiver([&] {
            for (std::size_t received = 0; received < records;) {
                const std::deque<PlainQueue::Change> taken = queue.TakeAll();
                for (const PlainQueue::Change& change : taken)
                    benchmark::DoNotOptimize(change.path.data());
                received += taken.size();
            }
        });
        std::vector<std::uint8_t> buffer(changes.size());
        for (int read = 0; read < records / recordsARead; ++read) {
            std::memcpy(buffer.data(), changes.data(), changes.size());
            PutAll(buffer, folder, queue);
        }
        receiver.join();
    }
}

void Records()
{
    Contest("records", {{"records", records}, {"records a read", recordsARead}})
        .Ours(ThroughTheEngine)
        .Against("a mutex and a deque", 1.25, ThroughAPlainQueue)
        .OnceARound()
        .Run();
}

const Case recordsCase("records", Records);

} // namespace
