#include "directory_changes/DelayedNotificationWindow.h"

#include "directory_changes/LastError.h"
#include "directory_changes/NeverDestroyed.h"
#include "directory_changes/ThreadSlot.h"
#include "support/RankedSection.h"

#include <system_error>
#include <utility>

namespace
{

constexpr const wchar_t* ClassName = L"Delayed_Message_Sender";
constexpr const wchar_t* WindowTitle = L"DelayedWnd";

// The state that all users of the process share; guarded by its section.
struct Shared {
    RankedSection section{LockRank::Leaf, L"notifier window"};
    int users = 0;
    HWND window = nullptr;
    bool registered = false;
    ThreadSlot<const DelayedEvent> inProgress; // on the window's thread: the innermost event
};

Shared& TheShared()
{
    static NeverDestroyed<Shared> shared;
    return shared.Get();
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_DELAYED_EVENT)
        return DefWindowProcW(window, message, wParam, lParam);
    const ThreadSlot<const DelayedEvent>& inProgress = TheShared().inProgress;
    const DelayedEvent* const outer = inProgress.Get();
    inProgress.Set(reinterpret_cast<const DelayedEvent*>(lParam));
    ReceiveDelayedEvent(lParam);
    inProgress.Set(outer);
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

// Returns the shared window with one user more.
HWND Use(Shared& shared)
{
    const CSingleLock lock(shared.section);
    if (shared.users == 0 || !IsWindow(shared.window)) {
        RegisterOnce(shared);
        shared.window = CreateWindowExW(0, ClassName, WindowTitle, 0, 0, 0, 0, 0, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
        if (!shared.window)
            throw std::system_error(static_cast<int>(LastErrorOr(ERROR_INVALID_WINDOW_HANDLE)), std::system_category(),
                                    "notifier window");
    }
    ++shared.users;
    return shared.window;
}

} // namespace

CDelayedNotificationWindow::CDelayedNotificationWindow() : m_window(Use(TheShared())) {}

CDelayedNotificationWindow::~CDelayedNotificationWindow() { CDelayedNotificationWindow::Leave(); }

void CDelayedNotificationWindow::Leave() noexcept
{
    if (m_left.exchange(true))
        return;
    HWND last = nullptr;
    {
        Shared& shared = TheShared();
        const CSingleLock lock(shared.section);
        if (--shared.users > 0)
            return;
        std::swap(last, shared.window);
    }
    // Only its own thread can destroy a window; from another one it is asked to.
    if (!DestroyWindow(last))
        PostMessageW(last, WM_CLOSE, 0, 0);
}

bool CDelayedNotificationWindow::PostEvent(DelayedEvent* event)
{
    constexpr DWORD pause = 10; // milliseconds
    while (!PostMessageW(m_window, WM_DELAYED_EVENT, 0, reinterpret_cast<LPARAM>(event))) {
        if (HasEnded()) {
            FreeDelayedEvent(event);
            return false;
        }
        if (!IsNotifierThread()) {
            Sleep(pause); // the messages are full: the window's thread takes some meanwhile
        } else if (!DispatchOneMessage()) {
            // Nothing of ours waits: this event is the next.
            ReceiveDelayedEvent(reinterpret_cast<LPARAM>(event));
            return true;
        }
    }
    return true;
}

// False when the window has no event.
bool CDelayedNotificationWindow::DispatchOneMessage() const
{
    MSG message;
    if (!PeekMessageW(&message, m_window, WM_DELAYED_EVENT, WM_DELAYED_EVENT, PM_REMOVE))
        return false;
    DispatchMessageW(&message);
    return true;
}

bool CDelayedNotificationWindow::IsNotifierThread() const
{
    return GetWindowThreadProcessId(m_window, nullptr) == GetCurrentThreadId();
}

bool CDelayedNotificationWindow::HasEnded() const { return !IsWindow(m_window); }

bool CDelayedNotificationWindow::RunsHandlers() noexcept { return TheShared().inProgress.Get() != nullptr; }

HWND CDelayedNotificationWindow::Window()
{
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    return shared.window;
}
