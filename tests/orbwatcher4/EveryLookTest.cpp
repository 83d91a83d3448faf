// Whatever is reported between two looks at the disk, nothing is lost: each look at the attributes of a path is once
// the moment at which the file goes or comes back.
#include "support/SystemPath.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <chrono>
#include <functional>
#include <future>

namespace
{

using Steps = std::vector<std::function<void()>>;

// Calls one step after the other, each in a thread of its own, at the looks that this thread takes at a path; the first
// one at the look with the given number, from 1 on. As long as it lives.
class StepsAtLooks
{
public:
    StepsAtLooks(const CString& path, std::size_t first, bool before, Steps steps)
    {
        s_self = this;
        s_judging = true;
        m_path = path.GetString();
        m_first = first;
        m_before = before;
        m_steps = std::move(steps);
    }
    ~StepsAtLooks()
    {
        s_judging = false;
        s_self = nullptr;
    }
    StepsAtLooks(const StepsAtLooks&) = delete;
    StepsAtLooks& operator=(const StepsAtLooks&) = delete;

    bool HasBegun() const { return m_looks >= m_first; }

private:
    static DWORD WINAPI Answer(const wchar_t* path)
    {
        if (!s_judging || _wcsicmp(PlainPath(path), s_self->m_path.c_str()) != 0)
            return s_original(path);
        if (s_self->m_before)
            s_self->Look();
        const DWORD attributes = s_original(path);
        const DWORD error = GetLastError();
        if (!s_self->m_before)
            s_self->Look();
        SetLastError(error);
        return attributes;
    }

    // The judging thread must not hold the lock of the store: the other thread would wait for it.
    void Look()
    {
        const std::size_t step = ++m_looks - m_first;
        if (m_looks < m_first || step >= m_steps.size())
            return;
        std::future<void> done = std::async(std::launch::async, m_steps[step]);
        EXPECT_EQ(done.wait_for(std::chrono::seconds(20)), std::future_status::ready) << "the store is locked";
    }

    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    static inline StepsAtLooks* s_self = nullptr;
    static inline thread_local bool s_judging = false;
    std::wstring m_path;
    std::size_t m_first = 0, m_looks = 0;
    bool m_before = false;
    Steps m_steps;
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Answer};
};

class EveryLook : public WatcherFixture
{
protected:
    EveryLook() { SelectTree(); }

    static constexpr std::size_t MostLooks = 50;

    // The file as the index knows it, changed since; nothing pending.
    void Restore()
    {
        watcher.ClearNotifications();
        Write(L"a.txt");
        RecordWithTime(path, 1);
    }
    void Remove()
    {
        DeleteFileW(path);
        Handler().OnFileRemoved(path);
    }
    void Return()
    {
        Write(L"a.txt");
        Handler().OnFileAdded(path);
    }
    // Judges the path once for each of its looks, with the steps from that look on.
    void Sweep(const std::function<void()>& prepare, const std::function<void()>& judge, const Steps& steps)
    {
        for (const bool before : {true, false}) {
            bool begun = true;
            std::size_t first = 1;
            for (; begun && first < MostLooks; ++first) {
                Restore();
                prepare();
                {
                    const StepsAtLooks at(path, first, before, steps);
                    judge();
                    begun = at.HasBegun();
                }
                if (begun)
                    ExpectKnown(first, before);
            }
            EXPECT_GT(first, 3U) << "hardly a look was met";
            EXPECT_LT(first, MostLooks);
        }
    }
    void SweepAll(const std::function<void()>& prepare, const std::function<void()>& judge)
    {
        const auto remove = [this] { Remove(); };
        const auto comeBack = [this] { Return(); };
        Sweep(prepare, judge, {remove});
        Sweep(prepare, judge, {remove, comeBack});
        Sweep(prepare, judge, {remove, comeBack, remove});
        const auto briefly = [this] {
            Remove();
            Return();
            Remove();
        };
        Sweep(prepare, judge, {briefly});
        Sweep(prepare, judge, {briefly, comeBack});
    }
    void ExpectKnown(std::size_t look, bool before)
    {
        const NotificationPtr pending = Pending(path);
        const bool gone = GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES;
        ASSERT_TRUE(pending) << (gone ? "its deletion" : "its change") << " is lost at look " << look << " " << before;
        EXPECT_EQ(pending->kind == NotificationKind::Deleted, gone) << "at look " << look << " " << before;
    }

    const CString path = InTree(L"a.txt");
};

TEST_F(EveryLook, NoChangeOfAnAddedFileIsLost)
{
    SweepAll([] {}, [this] { watcher.AddSingleNotification(path); });
}

TEST_F(EveryLook, NoChangeOfAModifiedFileIsLost)
{
    SweepAll([] {}, [this] { Handler().OnFileModified(path); });
}

TEST_F(EveryLook, NoChangeOfAFileThatIsReplacedIsLost)
{
    const auto removed = [this] {
        Remove();
        Write(L"a.txt");
    };
    SweepAll(removed, [this] { watcher.AddSingleNotification(path); });
    SweepAll(removed, [this] { Handler().OnFileModified(path); });
}

TEST_F(EveryLook, NoChangeOfAFileThatReturnsLaterIsLost)
{
    const auto removed = [this] {
        Remove();
        Write(L"a.txt");
        clock.Advance(10);
    };
    SweepAll(removed, [this] { watcher.AddSingleNotification(path); });
    SweepAll(removed, [this] { Handler().OnFileModified(path); });
}

TEST_F(EveryLook, NoChangeIsLostWhenHiddenFilesCount)
{
    watcher.EnableBackupHiddenFiles(true);
    SweepAll([] {}, [this] { watcher.AddSingleNotification(path); });
    SweepAll([] {}, [this] { Handler().OnFileModified(path); });
}

} // namespace
