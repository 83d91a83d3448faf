// Paths of more than 260 units, which programs make with the prefix \\?\.
//
// Documentation of Windows: "Maximum Path Length Limitation"; "CreateFileW": "prepend "\\?\" to the path".
#include "support/SystemPath.h"
#include "tests/orbwatcher4/RunningWatch.h"
#include "tests/windows/EnumeratedTree.h"

namespace
{

// Folders of a hundred units below the tree, removed with the object. The last one has a path of more than 260 units.
class LongFolder
{
public:
    explicit LongFolder(CString path)
    {
        while (path.GetLength() <= 300) {
            path += L"\\";
            path += std::wstring(100, L'd').c_str();
            EXPECT_TRUE(CreateDirectoryW(SystemPath(path), nullptr)) << GetLastError();
            m_made.push_back(path);
        }
    }
    ~LongFolder()
    {
        DeleteFileW(SystemPath(File()));
        for (; !m_made.empty(); m_made.pop_back())
            RemoveDirectoryW(SystemPath(m_made.back()));
    }
    CString File() const { return m_made.back() + L"\\f.txt"; }
    bool Write() const
    {
        return static_cast<bool>(FileHandle(
            CreateFileW(SystemPath(File()), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
    }

private:
    std::vector<CString> m_made;
};

using LongPaths = EnumeratedTree;
using LongPathEvents = RunningWatch;

TEST_F(LongPaths, AreCountedByAnEnumerationWhichGoesOn)
{
    SelectTree();
    const CString plain = Write(L"z.txt");
    const LongFolder deep(tree);
    ASSERT_TRUE(deep.Write());
    EXPECT_GE(Enumerate().Of(PathOutcome::TooLong), 1u);
    EXPECT_TRUE(Pending(plain));
}

TEST_F(LongPathEvents, AreLeftOutAndLaterEventsCome)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    StartAndWait();
    const LongFolder deep(tree);
    ASSERT_TRUE(deep.Write());
    EXPECT_TRUE(Receives(Write(L"after.txt")));
    EXPECT_FALSE(Pending(deep.File()));
}

} // namespace
