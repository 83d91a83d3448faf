// Indexed paths about which the disk says nothing: neither there nor known to be gone.
#include "companions/settings/OrbSettings.h"
#include "support/SystemPath.h"
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

// Looking at one path fails with an error, as long as it lives.
class PathThatFails
{
public:
    PathThatFails(const CString& path, DWORD error)
    {
        s_path = path.GetString();
        s_error = error;
    }

private:
    static DWORD WINAPI Answer(const wchar_t* path)
    {
        if (_wcsicmp(PlainPath(path), s_path.c_str()) == 0) {
            SetLastError(s_error);
            return INVALID_FILE_ATTRIBUTES;
        }
        return s_original(path);
    }

    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    static inline std::wstring s_path;
    static inline DWORD s_error = 0;
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Answer};
};

// Reading the list of one folder fails with an error, as long as it lives.
class FolderThatFails
{
public:
    FolderThatFails(const CString& folder, DWORD error)
    {
        s_folder = folder.GetString();
        s_error = error;
    }

private:
    static HANDLE WINAPI Answer(const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data, FINDEX_SEARCH_OPS search,
                                void* filter, DWORD flags)
    {
        if (std::wstring_view(PlainPath(pattern)).starts_with(s_folder)) {
            SetLastError(s_error);
            return INVALID_HANDLE_VALUE;
        }
        return s_original(pattern, level, data, search, filter, flags);
    }

    static inline const auto s_original = SystemFunction<decltype(FindFirstFileExW)>("FindFirstFileExW");
    static inline std::wstring s_folder;
    static inline DWORD s_error = 0;
    const ImportedCall m_call{nullptr, "FindFirstFileExW", &Answer};
};

class UnknownPaths : public LoopFixture
{
protected:
    UnknownPaths()
    {
        SelectTree();
        path = Write(L"a.txt");
        RecordWithTime(path, 1);
        CIndexDB::m_mapDeletePtr[path] = CIndexDB::CalculateUuid(path);
        NoteCompletion();
    }
    ~UnknownPaths() override { CIndexDB::m_mapDeletePtr.clear(); }

    void NoteCompletion()
    {
        GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", static_cast<std::int32_t>(clock.Seconds()));
        EXPECT_TRUE(GetServiceRunSettings().Save());
    }
    bool IsFullDue()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1) == 0;
    }

    bool Enumerate()
    {
        Parts().selection.primary.ClearJunctionCache(); // as each enumeration of its own does
        return watcher.FirstRun(L"c:\\");
    }

    CString path;
};

TEST_F(UnknownPaths, OneThatMayNotBeLookedAtMakesNothingDue)
{
    const PathThatFails denied(path, ERROR_ACCESS_DENIED);
    watcher.TrimDeleteMap();
    EXPECT_FALSE(IsFullDue());
    EXPECT_FALSE(Pending(path));
}

TEST_F(UnknownPaths, APassingErrorMakesAFullEnumerationDueOnce)
{
    {
        const PathThatFails locked(path, ERROR_LOCK_VIOLATION);
        watcher.TrimDeleteMap();
        EXPECT_TRUE(IsFullDue());
        NoteCompletion();
        watcher.TrimDeleteMap();
        EXPECT_FALSE(IsFullDue()) << "another one would find no more";
    }
    watcher.TrimDeleteMap(); // it can be looked at again
    CIndexDB::m_mapDeletePtr[path] = CIndexDB::CalculateUuid(path);
    const PathThatFails locked(path, ERROR_LOCK_VIOLATION);
    watcher.TrimDeleteMap();
    EXPECT_TRUE(IsFullDue());
}

TEST_F(UnknownPaths, ARootThatCannotBeReachedKeepsItsEntriesWhateverTheError)
{
    const PathThatFails root(L"c:\\", ERROR_ACCESS_DENIED);
    ASSERT_TRUE(DeleteFileW(path));
    watcher.TrimDeleteMap();
    EXPECT_FALSE(Pending(path));
    EXPECT_EQ(CIndexDB::m_mapDeletePtr.size(), 1u);
    EXPECT_FALSE(IsFullDue());
}

TEST_F(UnknownPaths, AFolderThatAnEnumerationCannotReadForNowMakesAnotherOneDueOnce)
{
    const CString below = Write(L"below\\b.txt");
    {
        const FolderThatFails denied(InTree(L"below"), ERROR_ACCESS_DENIED);
        EXPECT_TRUE(Enumerate());
        EXPECT_FALSE(IsFullDue());
    }
    {
        const FolderThatFails busy(InTree(L"below"), ERROR_BUSY);
        EXPECT_TRUE(Enumerate());
        EXPECT_TRUE(IsFullDue());
        NoteCompletion();
        EXPECT_TRUE(Enumerate());
        EXPECT_FALSE(IsFullDue()) << "another one would find no more";
    }
    EXPECT_TRUE(Enumerate());
    EXPECT_TRUE(Pending(below));
    const FolderThatFails busy(InTree(L"below"), ERROR_BUSY);
    EXPECT_TRUE(Enumerate());
    EXPECT_TRUE(IsFullDue());
}

TEST_F(UnknownPaths, WhatWasJudgedLeavesTheDeleteMap)
{
    const CString gone = InTree(L"gone.txt");
    RecordWithTime(gone, 1);
    CIndexDB::m_mapDeletePtr[gone] = CIndexDB::CalculateUuid(gone);
    watcher.TrimDeleteMap();
    EXPECT_TRUE(Pending(gone));
    EXPECT_TRUE(CIndexDB::m_mapDeletePtr.empty());
}

} // namespace
