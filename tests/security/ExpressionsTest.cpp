// Names of files that keep a regular expression busy, and patterns that any name keeps busy.
#include "orbwatcher4/core/selection/Classify.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <functional>
#include <thread>

namespace
{

class Expressions : public WatcherFixture
{
protected:
    static constexpr int Files = 100;

    void SelectWith(const std::string& mask)
    {
        watcher.SetAdvancedFiltersPath(
            WriteRules(L"advanced.xml",
                       Item(L"path=\"" + std::wstring(tree) + L"\\\" type=\"1\" includeSub=\"1\" " +
                            L"exclude=\"1\" isregex=\"1\" mask=\"" + std::wstring(mask.begin(), mask.end()) + L"\"")));
        SelectTree();
    }
    CString HostileFile(int number) { return Write(std::wstring(40, L'a') + L"!" + std::to_wstring(number)); }
    std::ptrdiff_t LogLines(std::wstring_view part) const
    {
        const auto lines = log.Lines();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const LogCapture::Line& line) { return line.text.find(part) != std::wstring::npos; });
    }
};

TEST_F(Expressions, ThatGiveUpOnEachOfManyNamesAreNotAskedForLong)
{
    SelectWith("(a+)+$");
    for (int i = 0; i < Files; ++i)
        Handler().OnFileAdded(HostileFile(i));
    EXPECT_LT(LogLines(L"Regular expression gave up on "), Files / 2);
    EXPECT_GE(LogLines(L"gave up again and again. It decides nothing for 1 s"), 1)
        << "what is decided otherwise is said";
    EXPECT_EQ(Drain().size(), std::size_t(Files)) << "nothing is kept out by a rule that does not know";
}

// Replaces the question to the system that comes before each match of a file.
std::function<void()> g_beforeMatch;
DWORD WINAPI AttributesBeforeMatch(const wchar_t* path)
{
    if (const auto once = std::exchange(g_beforeMatch, nullptr))
        once();
    return SystemFunction<DWORD WINAPI(const wchar_t*)>("GetFileAttributesW")(path);
}

TEST_F(Expressions, AreMatchedWithTheFilterFree)
{
    SelectWith("b$");
    const CString path = Write(L"a.txt");
    const ImportedCall attributes(nullptr, "GetFileAttributesW", &AttributesBeforeMatch);
    CEvent taken(false, true);
    std::thread other;
    bool free = false;
    g_beforeMatch = [&] {
        other = std::thread([&] {
            const CSingleLock lock(Parts().selection.primaryLock);
            taken.SetEvent();
        });
        free = taken.Lock(5000);
    };
    Classify(Parts().selection, path);
    ASSERT_TRUE(other.joinable()) << "no pattern was asked";
    other.join();
    EXPECT_TRUE(free);
}

TEST_F(Expressions, TheRulesThatWereGivenOutStayWhatTheyWere)
{
    SelectWith("txt$");
    const CString path = Write(L"a.txt");
    const AdvancedRules before = Parts().selection.primary.CurrentAdvancedRules();
    Parts().selection.primary.ClearAll();
    EXPECT_EQ(before.Check(path), Excluded);
    EXPECT_EQ(Parts().selection.primary.CheckForAdvancedInclusion(path), Included);
    Parts().selection.primary = OrbFilter();
    EXPECT_EQ(before.Check(path), Excluded);
}

} // namespace
