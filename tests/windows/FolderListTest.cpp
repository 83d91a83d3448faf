// The list of a folder that is behind an open file.
//
// Documentation of Windows: "FindFirstFileW": "the attributes provided for the file ... may not be completely up to
// date"; "File Times": the directory entry is updated when the last handle is closed. "GetFileInformationByHandle"
// answers from the file itself.
#include "tests/windows/EnumeratedTree.h"

namespace
{

class FolderList : public EnumeratedTree
{
protected:
    static std::uint64_t ListedSize(const CString& path)
    {
        WIN32_FIND_DATAW found = {};
        const FindHandle search(FindFirstFileW(path, &found));
        return search ? found.nFileSizeLow : ~std::uint64_t{0};
    }
};

TEST_F(FolderList, AFileThatGrowsWhileItIsOpenIsFoundChangedThoughTheListShowsItAsItWas)
{
    SelectTree();
    const CString path = Write(L"open.txt", "12345");
    Record(path);
    FILETIME later;
    GetSystemTimeAsFileTime(&later);
    const FileHandle writer(CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    const std::string bytes(10000, 'y');
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(writer.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    // The time of the last change differs from the recorded one, however fast the test is.
    later.dwHighDateTime += 1;
    ASSERT_TRUE(SetFileTime(writer.Get(), nullptr, nullptr, &later));
    if (ListedSize(path) != 5)
        GTEST_SKIP() << "the list of the folder is up to date: FindFirstFile shows the new size of an open file";
    Enumerate();
    EXPECT_TRUE(Pending(path));
}

} // namespace
