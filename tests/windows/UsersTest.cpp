// A second account of the machine, with whose rights the watcher reads.
//
// Documentation of Windows: "ImpersonateLoggedOnUser", "LogonUserW", "NetUserAdd"; "Privilege Constants":
// SeChangeNotifyPrivilege lets every account pass through folders that it may not list.
// tests/security/TwoAccountsTest.cpp has the attacks by a second account.
#include "tests/security/SecondAccount.h"
#include "tests/windows/EnumeratedTree.h"

namespace
{

class Users : public WithSecondAccount<EnumeratedTree>
{
protected:
    ~Users() override { watcher.SetUserToken(nullptr); }

    std::string FolderItem(const wchar_t* name)
    {
        return Item(L"path=\"" + std::wstring(InTree(name)) + L"\" type=\"1\" includeSub=\"1\"");
    }
};

TEST_F(Users, AnEnumerationForAnotherAccountTakesWhatThatAccountMayRead)
{
    ASSERT_TRUE(MakeFolderForAll(InTree(L"shared").GetString()));
    const CString shared = Write(L"shared\\a.txt"), own = Write(L"own\\b.txt");
    Select(FolderItem(L"shared") + FolderItem(L"own"));
    watcher.SetUserToken(other.Token());
    Enumerate();
    EXPECT_TRUE(Pending(shared));
    EXPECT_FALSE(Pending(own)) << "the folder of the test is its account's alone";
    watcher.SetUserToken(nullptr);
    Enumerate();
    EXPECT_TRUE(Pending(own));
}

} // namespace
