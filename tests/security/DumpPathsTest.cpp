// Lines of a dump that would lead a service with the highest rights to a server, which would learn its identity, or to
// a device.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <vector>

namespace
{

std::vector<std::wstring> g_asked;

template <typename Function>
Function* System(const char* name)
{
    return SystemFunction<Function>(name);
}

DWORD WINAPI NoteAttributes(const wchar_t* path)
{
    g_asked.emplace_back(path);
    return System<decltype(NoteAttributes)>("GetFileAttributesW")(path);
}
DWORD WINAPI NoteLongForm(const wchar_t* path, wchar_t* buffer, DWORD size)
{
    g_asked.emplace_back(path);
    return System<decltype(NoteLongForm)>("GetLongPathNameW")(path, buffer, size);
}
HANDLE WINAPI NoteOpening(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes, DWORD how,
                          DWORD flags, HANDLE model)
{
    g_asked.emplace_back(path);
    return System<decltype(NoteOpening)>("CreateFileW")(path, access, share, attributes, how, flags, model);
}
HANDLE WINAPI NoteSearch(const wchar_t* path, WIN32_FIND_DATAW* found)
{
    g_asked.emplace_back(path);
    return System<decltype(NoteSearch)>("FindFirstFileW")(path, found);
}

class DumpPaths : public WatcherFixture
{
protected:
    // Returns how often the system was asked about a path of these lines that contains `part`.
    std::size_t AskedFor(const std::wstring& lines, const std::wstring& part)
    {
        SelectTree();
        {
            FileWriter writer;
            DumpWriter dump(DumpFilePath(), writer);
            for (std::size_t from = 0, to; (to = lines.find(L'\n', from)) != lines.npos; from = to + 1)
                EXPECT_TRUE(dump.Add(lines.substr(from, to - from).c_str()));
            EXPECT_TRUE(dump.Finish());
        }
        g_asked.clear();
        const ImportedCall attributes(nullptr, "GetFileAttributesW", &NoteAttributes);
        const ImportedCall longForm(nullptr, "GetLongPathNameW", &NoteLongForm);
        const ImportedCall opening(nullptr, "CreateFileW", &NoteOpening);
        const ImportedCall search(nullptr, "FindFirstFileW", &NoteSearch);
        watcher.Resume();
        EXPECT_FALSE(DumpExists()) << "replayed to its end";
        return static_cast<std::size_t>(std::count_if(
            g_asked.begin(), g_asked.end(), [&](const std::wstring& path) { return path.find(part) != path.npos; }));
    }
};

TEST_F(DumpPaths, AShareOutsideTheSelectionIsNotOpened)
{
    Index();
    EXPECT_EQ(AskedFor(L"\\\\server\\share\\bait.txt\n", L"bait"), 0u);
    EXPECT_TRUE(Drain().empty());
}

TEST_F(DumpPaths, NeitherIsAPathBesideTheSelection)
{
    Index();
    folder.WriteBytes(L"bait.txt", "x");
    EXPECT_EQ(AskedFor((folder.Path(L"bait.txt") + L"\n").GetString(), L"bait"), 0u);
}

TEST_F(DumpPaths, DevicesAreNotOpened)
{
    Index();
    const std::wstring beyond = std::wstring(tree) + L"\\..\\..\\bait\n";
    EXPECT_EQ(
        AskedFor(L"\\\\.\\bait\n\\\\?\\GLOBALROOT\\Device\\bait\n\\??\\C:\\bait\n//server/share/bait\nbait\n" + beyond,
                 L"bait"),
        0u);
}

TEST_F(DumpPaths, ThoseOfTheSelectionAreReplayed)
{
    const CString path = Write(L"a.txt");
    EXPECT_GT(AskedFor((path + L"\n").GetString(), L"a.txt"), 0u);
    EXPECT_EQ(Drain(), std::vector<std::wstring>{path.GetString()});
}

TEST_F(DumpPaths, WithoutTheIndexAPathBesideTheSelectionMakesAFullEnumerationDue)
{
    GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, 1767225600);
    ASSERT_TRUE(GetServiceRunSettings().Save());
    EXPECT_EQ(AskedFor(L"\\\\server\\share\\bait.txt\n", L"bait"), 0u);
    EXPECT_EQ(GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, 1), 0);
}

} // namespace
