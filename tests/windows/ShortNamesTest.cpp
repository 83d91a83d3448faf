// 8.3 names in events and in paths.
//
// Documentation of Windows: "FILE_NOTIFY_INFORMATION": "If there is both a short and long name for the file, the
// function will return one of these names, but it is unspecified which one." "GetShortPathNameW"; "Naming Files, Paths,
// and Namespaces", Short vs. Long Names.
#include "tests/orbwatcher4/RunningWatch.h"

namespace
{

class ShortNames : public RunningWatch
{
protected:
    // Empty on a volume that makes none.
    CString ShortFormOf(const CString& path)
    {
        wchar_t form[1024] = L"";
        const DWORD length = GetShortPathNameW(path, form, 1024);
        const wchar_t* const name = wcsrchr(form, L'\\');
        return length > 0 && length < 1024 && name && wcschr(name, L'~') ? CString(form) : CString();
    }
    // The name that GetShortPathName returns is of use only when the system also opens it.
    static bool Finds(const CString& path) { return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES; }
    static constexpr const char* None = "no 8.3 name: GetShortPathName gives none that the system finds";
};

TEST_F(ShortNames, AnEventUnderTheShortNameIsPendingUnderTheLongOne)
{
    SelectTree();
    const CString path = Write(L"a long name of a file.document");
    const CString form = ShortFormOf(path);
    if (form.IsEmpty() || !Finds(form))
        GTEST_SKIP() << None;
    Handler().OnFileModified(form);
    EXPECT_TRUE(Pending(path));
    EXPECT_FALSE(Pending(form));
}

TEST_F(ShortNames, AFileThatIsChangedUnderItsShortNameIsHandedOutUnderTheLongOne)
{
    const CString path = Write(L"a long name of a file.document");
    const CString form = ShortFormOf(path);
    if (form.IsEmpty() || !Finds(form))
        GTEST_SKIP() << None;
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    StartAndWait();
    std::ofstream(std::filesystem::path(form.GetString())) << "changed";
    EXPECT_TRUE(Receives(path));
}

TEST_F(ShortNames, ARuleThatNamesAFolderByItsShortNameSelectsItsFiles)
{
    const CString path = Write(L"a long name of a folder\\f.txt");
    const CString form = ShortFormOf(InTree(L"a long name of a folder"));
    if (form.IsEmpty() || !Finds(form))
        GTEST_SKIP() << None;
    if (!iswdigit(form[form.ReverseFind(L'~') + 1]))
        GTEST_SKIP() << "8.3 names of another form: no digit follows the ~";
    Select(Item(L"path=\"" + std::wstring(form) + L"\" type=\"1\" includeSub=\"1\""));
    Handler().OnFileAdded(path);
    EXPECT_TRUE(Pending(path));
}

} // namespace
