// The turns of the processes of a storm. Changes are made side by side, each
// under a share of the turn; what nothing may change under takes the whole of it. No
// wait is longer than its limit.
#pragma once

#include "support/Handle.h"

#include <windows.h>

#include <stdexcept>
#include <string>

class Turns
{
public:
    // Every process of a storm names the same one.
    explicit Turns(const std::wstring& name)
        : m_shares(CreateSemaphoreW(nullptr, Shares, Shares, (name + L"-shares").c_str())),
          m_whole(CreateMutexW(nullptr, FALSE, (name + L"-whole").c_str()))
    {
    }

    class Share
    {
    public:
        explicit Share(const Turns& turns) : m_turns(turns) { Take(turns.m_shares); }
        ~Share() { ReleaseSemaphore(m_turns.m_shares.Get(), 1, nullptr); }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

    private:
        const Turns& m_turns;
    };

    class Whole
    {
    public:
        explicit Whole(const Turns& turns) : m_turns(turns)
        {
            // One at a time: two that collect shares would wait for each other.
            Take(turns.m_whole);
            for (int i = 0; i < Shares; ++i)
                Take(turns.m_shares);
        }
        ~Whole()
        {
            ReleaseSemaphore(m_turns.m_shares.Get(), Shares, nullptr);
            ReleaseMutex(m_turns.m_whole.Get());
        }
        Whole(const Whole&) = delete;
        Whole& operator=(const Whole&) = delete;

    private:
        const Turns& m_turns;
    };

private:
    static constexpr LONG Shares = 8;        // more than there are processes
    static constexpr DWORD Longest = 180000; // milliseconds

    static void Take(const KernelHandle& handle)
    {
        if (WaitForSingleObject(handle.Get(), Longest) == WAIT_TIMEOUT)
            throw std::runtime_error("a storm's turn did not come");
    }

    const KernelHandle m_shares;
    const KernelHandle m_whole;
};
