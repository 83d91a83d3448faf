#include "support/FileReplacement.h"

#include "support/Handle.h"
#include "tests/support/ImportedCall.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <iterator>
#include <vector>

namespace
{

class FileReplacement : public testing::Test
{
protected:
    std::size_t Files() const
    {
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path().GetString()))
            files += entry.is_regular_file();
        return files;
    }

    const TempFolder folder;
    const CString path = folder.Path(L"a.xml");
};

TEST_F(FileReplacement, TheNewContentIsThereAndNothingBesideIt)
{
    EXPECT_TRUE(ReplaceWhole(path, "first"));
    EXPECT_TRUE(ReplaceWhole(path, "second"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "second");
    EXPECT_EQ(Files(), 1u);
}

TEST_F(FileReplacement, TheAttributesStay)
{
    folder.WriteBytes(L"a.xml", "old");
    SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    ASSERT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
    const DWORD both = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    EXPECT_EQ(GetFileAttributesW(path) & both, both);
}

TEST_F(FileReplacement, AFolderInThePlaceOfTheFileStays)
{
    folder.WriteBytes(L"a.xml\\inside.txt", "kept");
    EXPECT_FALSE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml\\inside.txt"), "kept");
    EXPECT_EQ(Files(), 1u);
}

TEST_F(FileReplacement, AFileThatIsMarkedReadOnlyStays)
{
    folder.WriteBytes(L"a.xml", "old");
    SetFileAttributesW(path, FILE_ATTRIBUTE_READONLY);
    EXPECT_FALSE(ReplaceWhole(path, "new"));
    SetFileAttributesW(path, FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "old");
}

TEST_F(FileReplacement, ALinkStaysAndItsTargetIsWritten)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    folder.WriteBytes(L"elsewhere\\real.xml", "old");
    ASSERT_TRUE(MakeLink(path.GetString(), folder.Path(L"elsewhere\\real.xml").GetString()));
    EXPECT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"elsewhere\\real.xml"), "new");
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
    ASSERT_TRUE(RemoveLink(path.GetString()));
    EXPECT_EQ(Files(), 1u);
}

TEST_F(FileReplacement, APathNearTheLongestOneIsReplaced)
{
    // The name leaves no room for a longer one, neither in the path nor as a name.
    const int room = MAX_PATH - 1 - folder.Path().GetLength() - 2;
    const int deep = room - 20;
    ASSERT_GT(deep, 0);
    const std::wstring name = std::wstring(deep, L'd') + L"\\" + std::wstring(room - deep, L'n');
    folder.WriteBytes(name.c_str(), "old");
    EXPECT_TRUE(ReplaceWhole(folder.Path(name.c_str()), "new"));
    EXPECT_EQ(folder.ReadBytes(name.c_str()), "new");
    const std::wstring longName(250, L'n');
    EXPECT_TRUE(ReplaceWhole(folder.Path(longName.c_str()), "new"));
    EXPECT_EQ(Files(), 2u);
}

// --- What the system says in the place of the real call. ---

// The system's own function: in the import table stands the stand-in.
template <typename Function>
Function* Original(Function*, const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

struct Refusal {
    int times = 0;
    DWORD error = 0;
    bool takesTheOldFileAway = false;
    std::vector<DWORD> flags;
    std::vector<DWORD> pauses;
    int owners = 0;
};
Refusal g_system;

BOOL WINAPI ReplaceLater(LPCWSTR target, LPCWSTR draft, LPCWSTR backup, DWORD flags, LPVOID exclude, LPVOID reserved)
{
    g_system.flags.push_back(flags);
    if (g_system.times-- <= 0)
        return Original(&ReplaceFileW, "ReplaceFileW")(target, draft, backup, flags, exclude, reserved);
    if (g_system.takesTheOldFileAway)
        DeleteFileW(target);
    SetLastError(g_system.error);
    return FALSE;
}
void WINAPI NotePause(DWORD milliseconds) { g_system.pauses.push_back(milliseconds); }
BOOL WINAPI NoteOwner(LPCWSTR, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR)
{
    g_system.owners += what == OWNER_SECURITY_INFORMATION;
    return TRUE;
}
BOOL WINAPI NeverMove(LPCWSTR, LPCWSTR, DWORD)
{
    SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
}
BOOL WINAPI WriteHalf(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written, LPOVERLAPPED overlapped)
{
    return Original(&WriteFile, "WriteFile")(file, bytes, count / 2, written, overlapped);
}
BOOL WINAPI WriteNothing(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
{
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

class RefusedReplacement : public FileReplacement
{
protected:
    RefusedReplacement()
    {
        g_system = {};
        folder.WriteBytes(L"a.xml", "old");
    }

    const ImportedCall m_replace{nullptr, "ReplaceFileW", ReplaceLater};
    const ImportedCall m_sleep{nullptr, "Sleep", NotePause};
};

TEST_F(RefusedReplacement, APassingErrorIsTriedAgainAfterAPause)
{
    for (const DWORD error : {ERROR_SHARING_VIOLATION, ERROR_ACCESS_DENIED, ERROR_UNABLE_TO_REMOVE_REPLACED}) {
        g_system = {.times = 2, .error = error, .flags = {}, .pauses = {}};
        folder.WriteBytes(L"a.xml", "old");
        EXPECT_TRUE(ReplaceWhole(path, "new")) << error;
        EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
        EXPECT_EQ(g_system.pauses.size(), 2u);
    }
}

TEST_F(RefusedReplacement, AnErrorThatStaysIsToldAfterAShortWhile)
{
    g_system = {.times = 1000, .error = ERROR_SHARING_VIOLATION, .flags = {}, .pauses = {}};
    EXPECT_FALSE(ReplaceWhole(path, "new"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "old");
    EXPECT_EQ(Files(), 1u);
    DWORD waited = 0;
    for (const DWORD pause : g_system.pauses)
        waited += pause;
    EXPECT_GT(waited, 100u);
    EXPECT_LT(waited, 1000u);
}

TEST_F(RefusedReplacement, AnotherErrorIsToldAtOnce)
{
    g_system = {.times = 1000, .error = ERROR_DISK_FULL, .flags = {}, .pauses = {}};
    EXPECT_FALSE(ReplaceWhole(path, "new"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    EXPECT_TRUE(g_system.pauses.empty());
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "old");
    EXPECT_EQ(Files(), 1u);
}

TEST_F(RefusedReplacement, WhereAccessListsMayNotBeSetTheContentIsSavedAllTheSame)
{
    g_system = {.times = 5, .error = ERROR_ACCESS_DENIED, .flags = {}, .pauses = {}};
    EXPECT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
    EXPECT_EQ(g_system.flags.front(), 0u);
    EXPECT_EQ(g_system.flags.back(), static_cast<DWORD>(REPLACEFILE_IGNORE_MERGE_ERRORS));
}

TEST_F(RefusedReplacement, AFileSystemWithoutAccessListsGetsTheNewFileByItsName)
{
    g_system = {.times = 1000, .error = ERROR_NOT_SUPPORTED, .flags = {}, .pauses = {}};
    EXPECT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
}

TEST_F(RefusedReplacement, WhenTheOldFileIsGoneByTheFailureTheNewOneTakesItsPlace)
{
    g_system = {
        .times = 1, .error = ERROR_UNABLE_TO_MOVE_REPLACEMENT, .takesTheOldFileAway = true, .flags = {}, .pauses = {}};
    EXPECT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "new");
    EXPECT_EQ(Files(), 1u);
}

TEST_F(RefusedReplacement, WhatIsLeftOfBothIsKept)
{
    const ImportedCall move(nullptr, "MoveFileExW", NeverMove);
    g_system = {
        .times = 1, .error = ERROR_UNABLE_TO_MOVE_REPLACEMENT, .takesTheOldFileAway = true, .flags = {}, .pauses = {}};
    EXPECT_FALSE(ReplaceWhole(path, "new"));
    ASSERT_EQ(Files(), 1u); // the draft
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path().GetString()))
        EXPECT_EQ(folder.ReadBytes(entry.path().filename().wstring().c_str()), "new");
}

TEST_F(RefusedReplacement, TheOwnerIsTakenOver)
{
    const ImportedCall owner(nullptr, "SetFileSecurityW", NoteOwner);
    EXPECT_TRUE(ReplaceWhole(path, "new"));
    EXPECT_EQ(g_system.owners, 1);
}

TEST_F(RefusedReplacement, AFullDiskLeavesTheOldFile)
{
    for (auto* const write : {WriteHalf, WriteNothing}) {
        const ImportedCall full(nullptr, "WriteFile", write);
        EXPECT_FALSE(ReplaceWhole(path, "new"));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    }
    EXPECT_EQ(folder.ReadBytes(L"a.xml"), "old");
    EXPECT_EQ(Files(), 1u);
}

} // namespace
