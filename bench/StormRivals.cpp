#include "bench/StormWatch.h"
#include "directory_changes/DirectoryRead.h"
#include "mfc/CEvent.h"
#include "support/Handle.h"

#include <uv.h>

#include <windows.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unordered_set>
#include <vector>

namespace
{

// Each path once. Another thread adds them.
class KnownPaths
{
public:
    void Add(std::wstring path)
    {
        const std::scoped_lock lock(m_mutex);
        const auto [place, isNew] = m_paths.insert(std::move(path));
        if (!isNew)
            return;
        m_order.push_back(&*place);
        m_count = m_order.size();
    }
    std::size_t Count() const { return m_count; }
    std::vector<std::wstring> InOrder()
    {
        const std::scoped_lock lock(m_mutex);
        std::vector<std::wstring> paths;
        for (const std::wstring* path : m_order)
            paths.push_back(*path);
        return paths;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<std::wstring> m_paths; // guarded by m_mutex, as is the order
    std::vector<const std::wstring*> m_order;
    std::atomic<std::size_t> m_count{0};
};

class LoopWatch final : public StormWatch
{
public:
    explicit LoopWatch(const std::wstring& folder)
        : m_folder(folder),
          m_directory(SystemChangeIo().OpenDirectory(folder.c_str()))
    {
        if (!m_directory)
            throw std::runtime_error("the folder cannot be opened");
        m_thread = std::thread([this] { Run(); });
        m_reading.Lock();
    }
    ~LoopWatch() override
    {
        m_stop.SetEvent();
        m_thread.join();
    }
    std::size_t Known() override { return m_paths.Count(); }
    std::vector<std::wstring> InOrder() override { return m_paths.InOrder(); }

private:
    void Run()
    {
        std::vector<DWORD> buffer(DirectoryRead::BufferSize / sizeof(DWORD));
        const auto bytes = static_cast<DWORD>(buffer.size() * sizeof(DWORD));
        const CEvent completed(false, true);
        const HANDLE either[] = {m_stop, completed};
        for (;;) {
            OVERLAPPED overlapped = {};
            overlapped.hEvent = completed;
            DWORD got = 0;
            if (!ReadDirectoryChangesW(m_directory.Get(), buffer.data(), bytes, TRUE, DirectoryRead::ChangeFilter, &got,
                                       &overlapped, nullptr))
                return;
            m_reading.SetEvent();
            const bool stopped = WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0;
            if (stopped)
                CancelIo(m_directory.Get());
            if (GetOverlappedResult(m_directory.Get(), &overlapped, &got, TRUE) && got > 0)
                Decode(reinterpret_cast<const std::byte*>(buffer.data()));
            if (stopped)
                return;
        }
    }
    void Decode(const std::byte* at)
    {
        for (;;) {
            const auto& record = *reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(at);
            if (record.Action == FILE_ACTION_ADDED)
                m_paths.Add(m_folder + L"\\" + std::wstring(record.FileName, record.FileNameLength / sizeof(wchar_t)));
            if (record.NextEntryOffset == 0)
                return;
            at += record.NextEntryOffset;
        }
    }

    const std::wstring m_folder;
    KnownPaths m_paths;
    FileHandle m_directory;
    CEvent m_stop{false, true};
    CEvent m_reading{false, true};
    std::thread m_thread;
};

class LibuvWatch final : public StormWatch
{
public:
    explicit LibuvWatch(const std::wstring& folder) : m_folder(folder)
    {
        m_thread = std::thread([this] { Run(); });
        m_started.Lock();
        if (!m_watches) {
            m_thread.join();
            throw std::runtime_error("libuv cannot watch the folder");
        }
    }
    ~LibuvWatch() override
    {
        uv_async_send(&m_stop);
        m_thread.join();
    }
    std::size_t Known() override { return m_paths.Count(); }
    std::vector<std::wstring> InOrder() override { return m_paths.InOrder(); }

private:
    void Run()
    {
        uv_loop_t loop;
        uv_loop_init(&loop);
        uv_async_init(&loop, &m_stop, [](uv_async_t* stop) { uv_stop(stop->loop); });
        uv_fs_event_t events;
        uv_fs_event_init(&loop, &events);
        events.data = this;
        const std::string folder(m_folder.begin(), m_folder.end());
        m_watches = uv_fs_event_start(&events, OnEvent, folder.c_str(), UV_FS_EVENT_RECURSIVE) == 0;
        m_started.SetEvent();
        if (m_watches)
            uv_run(&loop, UV_RUN_DEFAULT);
        uv_walk(&loop, [](uv_handle_t* handle, void*) { uv_close(handle, nullptr); }, nullptr);
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }
    static void OnEvent(uv_fs_event_t* events, const char* name, int what, int status)
    {
        auto& self = *static_cast<LibuvWatch*>(events->data);
        if (status == 0 && name && (what & UV_RENAME)) // a file that was added, too
            self.m_paths.Add(self.m_folder + L"\\" + std::wstring(name, name + std::char_traits<char>::length(name)));
    }

    const std::wstring m_folder;
    KnownPaths m_paths;
    uv_async_t m_stop;
    bool m_watches = false;
    CEvent m_started{false, true};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<StormWatch> WatchWithALoop(const std::wstring& folder) { return std::make_unique<LoopWatch>(folder); }

std::unique_ptr<StormWatch> WatchWithLibuv(const std::wstring& folder) { return std::make_unique<LibuvWatch>(folder); }
