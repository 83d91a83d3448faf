// The calls of the system that an enumeration makes for each file.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/HeldBytes.h"
#include "tests/support/ImportedCall.h"

#include <algorithm>

namespace
{

int g_asked = 0;
ULONGLONG g_now = 0;
ULONGLONG g_step = 0; // of the clock, each time that it is read

DWORD WINAPI CountedAttributes(LPCWSTR path)
{
    ++g_asked;
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(path, GetFileExInfoStandard, &data) ? data.dwFileAttributes : INVALID_FILE_ATTRIBUTES;
}
DWORD WINAPI CountedWait(HANDLE handle, DWORD milliseconds)
{
    g_asked += milliseconds == 0;
    return WaitForSingleObjectEx(handle, milliseconds, FALSE);
}
ULONGLONG WINAPI SteppedClock() { return g_now += g_step; }

class EnumerationCost : public WatcherFixture
{
protected:
    EnumerationCost()
    {
        SelectTree();
        watcher.UpdateThreadsPriority(CPUSpeedFull);
    }

    void WriteFiles(int from, int to)
    {
        for (int i = from; i < to; ++i)
            Write(L"folder " + std::to_wstring(i % 3) + L"\\file " + std::to_wstring(i));
    }
    // The calls that a run makes, by the clock's step.
    int CallsOfARun(ULONGLONG step)
    {
        watcher.ClearNotifications();
        Parts().selection.primary.ClearJunctionCache();
        g_asked = 0;
        g_step = step;
        const ImportedCall attributes(nullptr, "GetFileAttributesW", CountedAttributes);
        const ImportedCall wait(nullptr, "WaitForSingleObject", CountedWait);
        const ImportedCall clock(nullptr, "GetTickCount64", SteppedClock);
        EXPECT_TRUE(watcher.FirstRun(tree));
        return g_asked;
    }
};

TEST_F(EnumerationCost, AFileMoreIsNoCallMore)
{
    WriteFiles(0, 100);
    const int few = CallsOfARun(0);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 104);
    WriteFiles(100, 200);
    EXPECT_EQ(CallsOfARun(0), few);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 204);
}

TEST_F(EnumerationCost, WhatAListHasShownLongAgoIsAskedForAgain)
{
    WriteFiles(0, 100);
    const int few = CallsOfARun(0);
    EXPECT_GE(CallsOfARun(5000), few + 100);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 104);
}

// A declaration of the system's own interface, whose header does not go with the engine's.
using NtOpen = LONG NTAPI(PHANDLE file, ACCESS_MASK access, void* attributes, void* status, PLARGE_INTEGER size,
                          ULONG kind, ULONG share, ULONG how, ULONG options, void* ea, ULONG eaLength);
struct VolumeDevice {
    ULONG type, characteristics;
};

NtOpen* SystemOpen()
{
    return reinterpret_cast<NtOpen*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtCreateFile")));
}

int g_questions = 0;

template <std::size_t Size>
struct ImportName {
    constexpr ImportName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size];
};
template <ImportName Called, typename Function>
struct Counted;
template <ImportName Called, typename Result, typename... Arguments>
struct Counted<Called, Result(Arguments...)> {
    static Result Call(Arguments... arguments)
    {
        static const auto original = SystemFunction<Result(Arguments...)>(Called.text);
        ++g_questions;
        return original(arguments...);
    }
    const ImportedCall call{nullptr, Called.text, &Call};
};

// Counts every call of the system with which a file can be asked about.
class Questions
{
public:
    Questions() { g_questions = s_opened = 0; }
    int Asked() const { return g_questions; }
    // Returns the number of files that were opened for reading.
    int Opened() const { return s_opened; }

private:
    static inline int s_opened = 0;

    static LONG NTAPI Open(PHANDLE file, ACCESS_MASK access, void* attributes, void* status, PLARGE_INTEGER size,
                           ULONG kind, ULONG share, ULONG how, ULONG options, void* ea, ULONG eaLength)
    {
        static NtOpen* const original = SystemOpen();
        ++g_questions;
        ++s_opened;
        return original(file, access, attributes, status, size, kind, share, how, options, ea, eaLength);
    }

    const Counted<"GetFileAttributesW", decltype(GetFileAttributesW)> m_attributes;
    const Counted<"GetFileAttributesExW", decltype(GetFileAttributesExW)> m_attributesEx;
    const Counted<"CreateFileW", decltype(CreateFileW)> m_create;
    const Counted<"GetFileInformationByHandle", decltype(GetFileInformationByHandle)> m_information;
    const Counted<"CloseHandle", decltype(CloseHandle)> m_close;
    const Counted<"GetLongPathNameW", decltype(GetLongPathNameW)> m_longName;
    const ImportedCall m_open{nullptr, "NtCreateFile", &Open};
};

class DailyCost : public EnumerationCost
{
protected:
    DailyCost() { watcher.SetIndexDB(folder.Path(L"index.db")); }

    // Writes files and backs them up.
    void WriteAndRecord(int from, int to)
    {
        WriteFiles(from, to);
        for (int i = from; i < to; ++i)
            Record(File(i));
    }
    CString File(int i) { return InTree(L"folder " + std::to_wstring(i % 3) + L"\\file " + std::to_wstring(i)); }
    // The questions of an enumeration of the tree, by the number of files that it finds unchanged.
    int QuestionsOfARun(std::uint64_t unchanged)
    {
        watcher.ClearNotifications();
        Parts().selection.primary.ClearJunctionCache();
        const auto found = [&] {
            return watcher.GetEnumerationProgress().outcomes[static_cast<std::size_t>(PathOutcome::Unchanged)];
        };
        const std::uint64_t before = found();
        const Questions questions;
        EXPECT_TRUE(watcher.FirstRun(tree));
        EXPECT_EQ(found() - before, unchanged);
        return questions.Asked();
    }
};

TEST_F(DailyCost, AnUnchangedFileMoreIsOneCallOfTheSystemMore)
{
    WriteAndRecord(0, 100);
    const int few = QuestionsOfARun(100);
    WriteAndRecord(100, 200);
    EXPECT_EQ(QuestionsOfARun(200), few + 100);
}

LONG NTAPI RemoteVolume(HANDLE, void*, void* data, ULONG, int)
{
    static_cast<VolumeDevice*>(data)->characteristics = 0x10; // FILE_REMOTE_DEVICE
    return 0;
}

// A share may answer a question by name with what the folder's list has shown.
TEST_F(DailyCost, AFileOnAShareIsOpenedBeforeItCountsAsUnchanged)
{
    WriteAndRecord(0, 10);
    const ImportedCall volume(nullptr, "NtQueryVolumeInformationFile", RemoteVolume);
    const Questions questions;
    EXPECT_TRUE(watcher.FirstRun(tree));
    EXPECT_GE(questions.Opened(), 10);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 4) << "the folders are not in the index";
}

const HeldBytes* g_held = nullptr;
std::int64_t g_bytesInTheWalk = 0;
BOOL WINAPI NextWeighed(HANDLE search, LPWIN32_FIND_DATAW data)
{
    static const auto next = SystemFunction<decltype(FindNextFileW)>("FindNextFileW");
    g_bytesInTheWalk = std::max(g_bytesInTheWalk, g_held->Now());
    return next(search, data);
}

TEST_F(DailyCost, AnItemOfTheIndexTakesFourBytesOfARunAndNoQuestionToTheDatabase)
{
    constexpr int count = 20000;
    WriteAndRecord(0, 3);
    std::vector<ItemDatum> items;
    for (int i = 0; i < count; ++i)
        items.push_back({CString((L"C:\\not selected\\file " + std::to_wstring(i)).c_str()), 0, 1, 0, 0});
    ASSERT_TRUE(Index().RecordItems(items));
    items.clear();
    const ImportedCall weighed(nullptr, "FindNextFileW", NextWeighed);
    const HeldBytes held;
    g_held = &held;
    const std::uint64_t lookups = CIndexDB::DatabaseLookups();
    g_bytesInTheWalk = 0;
    EXPECT_TRUE(Parts().enumerator.Roots().EnumerateOne(L"c:\\"));
    ASSERT_GT(g_bytesInTheWalk, 0);
    EXPECT_LT(g_bytesInTheWalk, count * 4 + 300'000) << "with what the walk holds";
    EXPECT_LT(CIndexDB::DatabaseLookups() - lookups, 20u);
}

} // namespace
