// Junctions, symbolic links and links that lead above themselves, made by Windows itself.
//
// Documentation of Windows: "Reparse Points and File Operations", "FSCTL_SET_REPARSE_POINT", "REPARSE_DATA_BUFFER",
// "CreateSymbolicLinkW": a junction is a reparse point with the tag IO_REPARSE_TAG_MOUNT_POINT, which every account may
// set on an empty folder; a symbolic link needs SeCreateSymbolicLinkPrivilege, or developer mode and the flag
// SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE.
#include "orbwatcher4/filter/ReparsePoint.h"
#include "tests/windows/EnumeratedTree.h"
#include "tests/windows/Reasons.h"

namespace
{

class WindowsLinks : public EnumeratedTree
{
protected:
    WindowsLinks() { folder.WriteBytes(L"target\\t.txt", "x"); }
    ~WindowsLinks() override
    {
        for (const CString& link : m_links)
            RemoveLink(link.GetString());
    }

    // Returns why it cannot be made; empty when it is there.
    std::string Join(const CString& link, const CString& to)
    {
        if (!MakeJunction(link.GetString(), to.GetString()))
            return WhyNot("DeviceIoControl(FSCTL_SET_REPARSE_POINT)");
        m_links.push_back(link);
        return {};
    }
    std::string LinkSymbolically(const CString& link, const wchar_t* to)
    {
        constexpr DWORD unprivileged = 2; // SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
        if (!CreateSymbolicLinkW(link, to, SYMBOLIC_LINK_FLAG_DIRECTORY | unprivileged))
            return WhyNot("CreateSymbolicLink");
        if (GetFileAttributesW(link) == INVALID_FILE_ATTRIBUTES)
            return "CreateSymbolicLink succeeds and makes nothing";
        m_links.push_back(link);
        return {};
    }
    static CString DestinationOf(const CString& link)
    {
        ScanDisk disk;
        CString destination;
        EXPECT_EQ(GetReparseDestination(disk, link, 0, destination), ReparseResult::Leads);
        return destination;
    }
    CString MakeTree()
    {
        SelectTree();
        return Write(L"plain.txt");
    }

    const CString target = folder.Path(L"target");

private:
    std::vector<CString> m_links;
};

TEST_F(WindowsLinks, AJunctionLeadsToItsTarget)
{
    const CString link = InTree(L"link");
    if (const std::string why = Join(link, target); !why.empty())
        GTEST_SKIP() << why;
    EXPECT_TRUE(GetFileAttributesW(link) & FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_STREQ(DestinationOf(link), target);
}

TEST_F(WindowsLinks, AnAbsoluteAndARelativeSymbolicLinkLeadToTheirTarget)
{
    const CString absolute = InTree(L"absolute"), relative = InTree(L"relative");
    if (const std::string why = LinkSymbolically(absolute, target); !why.empty())
        GTEST_SKIP() << why;
    ASSERT_EQ(LinkSymbolically(relative, L"..\\target"), "");
    EXPECT_STREQ(DestinationOf(absolute), target);
    EXPECT_STREQ(DestinationOf(relative), target);
}

TEST_F(WindowsLinks, AnEnumerationGoesThroughAJunctionOnceAndHandsOutTheFileWhereItLies)
{
    const CString plain = MakeTree();
    if (const std::string why = Join(InTree(L"one"), target); !why.empty())
        GTEST_SKIP() << why;
    ASSERT_EQ(Join(InTree(L"two"), target), "");
    Select(TreeItem() + Item(L"path=\"" + std::wstring(target) + L"\" type=\"1\" includeSub=\"1\""));
    const EnumerationProgress progress = Enumerate();
    EXPECT_TRUE(Pending(plain));
    EXPECT_TRUE(Pending(target + L"\\t.txt"));
    EXPECT_GE(progress.Of(PathOutcome::WalkedAlready), 1u);
}

TEST_F(WindowsLinks, AJunctionAboveItselfEndsTheWalkAndLosesNoFile)
{
    const CString plain = MakeTree();
    if (const std::string why = Join(InTree(L"up"), tree); !why.empty())
        GTEST_SKIP() << why;
    const EnumerationProgress progress = Enumerate();
    EXPECT_TRUE(Pending(plain));
    EXPECT_EQ(progress.files, 1u) << "each file is met once";
}

TEST_F(WindowsLinks, AJunctionToNothingIsBrokenAndLosesNoFile)
{
    const CString plain = MakeTree();
    if (const std::string why = Join(InTree(L"broken"), folder.Path(L"nowhere")); !why.empty())
        GTEST_SKIP() << why;
    EXPECT_EQ(Enumerate().Of(PathOutcome::BrokenLink), 1u);
    EXPECT_TRUE(Pending(plain));
}

} // namespace
