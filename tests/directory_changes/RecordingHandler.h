// A handler that writes down what it is told, and can be waited for.
#pragma once

#include "directory_changes/DirectoryChanges.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

class RecordingHandler : public CDirectoryChangeHandler
{
public:
    std::function<void(const std::wstring&)> onEvent; // on the notifier's thread
    bool accept = true;

    void OnFileAdded(const wchar_t* p) override { Note(std::wstring(L"+") + p); }
    void OnFileRemoved(const wchar_t* p) override { Note(std::wstring(L"-") + p); }
    void OnFileModified(const wchar_t* p) override { Note(std::wstring(L"*") + p); }
    void OnFileNameChanged(const wchar_t* o, const wchar_t* n) override { Note(std::wstring(L">") + o + L">" + n); }
    void OnReadChangesError(DWORD e, const wchar_t* d) override { Note(L"error " + std::to_wstring(e) + L" " + d); }
    void OnWatchStarted(DWORD e, const wchar_t* d) override { Note(L"started " + std::to_wstring(e) + L" " + d); }
    void OnWatchStopped(const wchar_t* d) override
    {
        Note(std::wstring(L"stopped ") + d);
        if (throwWhenStopped)
            throw 1;
    }
    bool OnFilterNotification(DWORD, const wchar_t*, const wchar_t*) override { return accept; }
    bool throwWhenStopped = false;

    std::vector<std::wstring> Events()
    {
        const std::scoped_lock lock(m_mutex);
        return m_events;
    }
    int Count(const std::wstring& event)
    {
        const std::vector<std::wstring> events = Events();
        return static_cast<int>(std::count(events.begin(), events.end(), event));
    }
    bool WaitFor(const std::wstring& event, int count = 1)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20),
                                  [&] { return std::count(m_events.begin(), m_events.end(), event) >= count; });
    }
    bool WaitForEvents(std::size_t count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20), [&] { return m_events.size() >= count; });
    }

private:
    void Note(const std::wstring& event)
    {
        {
            const std::scoped_lock lock(m_mutex);
            m_events.push_back(event);
        }
        m_changed.notify_all();
        if (onEvent)
            onEvent(event);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::wstring> m_events;
};
