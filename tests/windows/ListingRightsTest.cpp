// Folders that the account may not list.
//
// Documentation of Windows: "File Security and Access Rights": listing a folder needs FILE_LIST_DIRECTORY; an entry
// that denies comes before entries that allow ("Order of ACEs in a DACL").
#include "tests/windows/EnumeratedTree.h"
#include "tests/windows/Reasons.h"

#include <sddl.h>

namespace
{

class ListingRights : public EnumeratedTree
{
protected:
    ~ListingRights() override { SetAccess(L"D:(A;OICI;FA;;;WD)"); }

    // Returns why the folder can be listed all the same; empty when it cannot.
    std::string Forbid()
    {
        if (!SetAccess(L"D:P(D;;0x1;;;WD)(A;OICI;FA;;;WD)"))
            return WhyNot("SetFileSecurity");
        WIN32_FIND_DATAW found;
        const FindHandle search(FindFirstFileW(closed + L"\\*", &found));
        return search ? "the system lists a folder that it denies to everybody" : "";
    }
    bool SetAccess(const wchar_t* text) const
    {
        PSECURITY_DESCRIPTOR access = nullptr;
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &access, nullptr))
            return false;
        const BOOL set = SetFileSecurityW(closed, DACL_SECURITY_INFORMATION, access);
        LocalFree(access);
        return set != FALSE;
    }

    const CString closed = MakeFolder(L"closed");
};

TEST_F(ListingRights, AClosedFolderIsUnreadableAndTheOthersAreWalked)
{
    SelectTree();
    const CString open = Write(L"open\\a.txt");
    Write(L"closed\\b.txt");
    if (const std::string why = Forbid(); !why.empty())
        GTEST_SKIP() << why;
    EXPECT_GE(Enumerate().Of(PathOutcome::Unreadable), 1u);
    EXPECT_TRUE(Pending(open));
}

TEST_F(ListingRights, WhatTheIndexHoldsOfAClosedFolderIsNotDeleted)
{
    SelectTree();
    const CString kept = Write(L"closed\\b.txt");
    Record(kept);
    if (const std::string why = Forbid(); !why.empty())
        GTEST_SKIP() << why;
    Enumerate();
    EXPECT_FALSE(Pending(kept)) << "no deletion, and no change";
}

} // namespace
