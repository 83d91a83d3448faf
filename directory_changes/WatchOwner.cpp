#include "directory_changes/WatchOwner.h"

WatchOwner::WatchOwner(CDelayedDirectoryChangeHandler& delayed, CDirectoryChangeHandler& handler)
    : m_delayed(delayed),
      m_handler(&handler)
{
    handler.AddRef();
    m_delayed.Delivery().SetHandler(&handler);
}

bool WatchOwner::Forget()
{
    if (!m_delayed.Delivery().TakeHandler())
        return false;
    m_handler = nullptr;
    return true;
}

void WatchOwner::LetGo()
{
    if (CDirectoryChangeHandler* real = m_delayed.Delivery().TakeHandler())
        real->Release();
}

void WatchOwner::Unlink(const WatchEngine& engine)
{
    if (CDirectoryChangeHandler* real = m_delayed.Delivery().Handler(); real && linked)
        real->UnlinkWatcher(&engine);
}

void WatchOwner::SetDirectoryName(const CString& name)
{
    if (CDirectoryChangeHandler* real = m_delayed.Delivery().Handler())
        real->SetChangedDirectoryName(name);
    m_delayed.SetChangedDirectoryName(name);
}
