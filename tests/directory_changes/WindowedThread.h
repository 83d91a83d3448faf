// A thread that makes one call, and shows whether the call waits: waits that dispatch messages dispatch those of its
// window, too.
#pragma once

#include "mfc/CEvent.h"

#include <windows.h>

#include <atomic>
#include <functional>
#include <thread>

class WindowedThread
{
public:
    explicit WindowedThread(std::function<void()> call)
        : m_thread([this, call = std::move(call)] {
              m_window = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
              SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
              SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Procedure));
              m_ready.SetEvent();
              call();
              m_returned = true;
              DestroyWindow(m_window);
          })
    {
        m_ready.Lock();
        PostMessageW(m_window, WM_APP, 0, 0);
    }
    ~WindowedThread() { Join(); }
    WindowedThread(const WindowedThread&) = delete;
    WindowedThread& operator=(const WindowedThread&) = delete;

    void Join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }
    bool HasReturned() const { return m_returned; }
    // True when the call waits, false when it has returned. One of both comes.
    bool WaitsNow() const
    {
        while (!m_dispatched && !m_returned)
            std::this_thread::yield();
        return !m_returned;
    }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_APP)
            reinterpret_cast<WindowedThread*>(GetWindowLongPtrW(window, GWLP_USERDATA))->m_dispatched = true;
        return DefWindowProcW(window, message, wParam, lParam);
    }

    CEvent m_ready{false, true};
    std::atomic<bool> m_dispatched{false}, m_returned{false};
    HWND m_window = nullptr;
    std::thread m_thread;
};
