#include "directory_changes/DelayedNotificationWindow.h"

#include "directory_changes/LastError.h"
#include "support/RankedSection.h"

#include <system_error>

namespace
{

constexpr const wchar_t* ClassName = L"Delayed_Message_Sender";
constexpr const wchar_t* WindowTitle = L"DelayedWnd";

// Shared by all instances; guarded by its section.
struct Shared {
    RankedSection section{LockRank::Leaf, L"notifier window"};
    int instances = 0;
    HWND window = nullptr;
    bool registered = false;
};

Shared& TheShared()
{
    static Shared shared;
    return shared;
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_DELAYED_EVENT)
        return DefWindowProcW(window, message, wParam, lParam);
    ReceiveDelayedEvent(lParam);
    return 0;
}

void RegisterOnce(Shared& shared)
{
    if (shared.registered)
        return;
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = WindowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    windowClass.lpszClassName = ClassName;
    shared.registered = RegisterClassW(&windowClass) != 0;
}

} // namespace

CDelayedNotificationWindow::CDelayedNotificationWindow()
{
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    if (shared.instances == 0 || !IsWindow(shared.window)) {
        RegisterOnce(shared);
        shared.window = CreateWindowExW(0, ClassName, WindowTitle, 0, 0, 0, 0, 0, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
        if (!shared.window)
            throw std::system_error(static_cast<int>(LastErrorOr(ERROR_INVALID_WINDOW_HANDLE)), std::system_category(),
                                    "notifier window");
    }
    ++shared.instances;
    m_window = shared.window;
}

CDelayedNotificationWindow::~CDelayedNotificationWindow()
{
    HWND last = nullptr;
    {
        Shared& shared = TheShared();
        const CSingleLock lock(shared.section);
        if (--shared.instances > 0)
            return;
        std::swap(last, shared.window);
    }
    // Only its own thread can destroy a window; from another one it is asked to.
    if (!DestroyWindow(last))
        PostMessageW(last, WM_CLOSE, 0, 0);
}

bool CDelayedNotificationWindow::PostEvent(DelayedEvent* event)
{
    constexpr DWORD pause = 10;
    while (!PostMessageW(m_window, WM_DELAYED_EVENT, 0, reinterpret_cast<LPARAM>(event))) {
        if (HasEnded() || IsNotifierThread()) {
            FreeDelayedEvent(event);
            return false;
        }
        Sleep(pause); // its queue is full: the window's thread gets on meanwhile
    }
    return true;
}

bool CDelayedNotificationWindow::IsNotifierThread() const
{
    return GetWindowThreadProcessId(m_window, nullptr) == GetCurrentThreadId();
}

bool CDelayedNotificationWindow::HasEnded() const { return !IsWindow(m_window); }

HWND CDelayedNotificationWindow::Window()
{
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    return shared.window;
}
