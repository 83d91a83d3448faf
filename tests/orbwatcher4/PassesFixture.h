// Passes of the watch thread with drives that the test attaches, swaps and takes away.
#pragma once

#include "tests/orbwatcher4/LoopFixture.h"

#include <algorithm>
#include <set>
#include <string>

class Passes : public LoopFixture
{
protected:
    ~Passes() override
    {
        End();
        for (const char letter : m_letters)
            DetachDrive(letter);
    }

    void RequestDeletions() { SetEvent(WatcherAccess::DeletionsEvent(watcher)); }
    bool WorkerWasStarted() { return static_cast<bool>(WatcherAccess::DeletionsThread(watcher)); }

    std::wstring Attach(char letter, const wchar_t* name, unsigned serial)
    {
        const std::wstring volume = MakeVolume(name, serial);
        EXPECT_TRUE(AttachDrive(letter, volume.c_str()));
        m_letters.insert(letter);
        return volume;
    }
    bool Watches(const wchar_t* root)
    {
        const std::vector<CString> roots = watcher.GetWatchedRoots();
        return std::find(roots.begin(), roots.end(), CString(root)) != roots.end();
    }
    static std::string DriveRule(const wchar_t* path, const std::wstring& vid = L"")
    {
        return Item(L"path=\"" + std::wstring(path) + L"\" type=\"1\" includeSub=\"1\"" +
                    (vid.empty() ? L"" : L" vid=\"" + vid + L"\""));
    }

private:
    std::set<char> m_letters;
};
