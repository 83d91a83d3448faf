// An object that lives until the process ends: a watcher or handler with static storage may use it in its destructor,
// and a thread that still runs at the end never meets a destroyed lock.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

template <typename T>
class NeverDestroyed
{
public:
    template <typename... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments)
    {
        new (m_place) T(std::forward<Arguments>(arguments)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(m_place)); }

private:
    alignas(T) std::byte m_place[sizeof(T)];
};
