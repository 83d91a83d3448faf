#include "support/HandleOwner.h"
#include "support/Handle.h"
#include "support/OwnerAccess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

namespace
{

class FolderAccess : public testing::Test
{
protected:
    void Make(OwnerAccess::Others others)
    {
        OwnerAccess access(others);
        ASSERT_TRUE(CreateDirectoryW(path, access.Attributes()));
    }
    bool MayOthersWriteToIt()
    {
        const FileHandle opened(CreateFileW(path, FILE_READ_ATTRIBUTES | READ_CONTROL, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        EXPECT_TRUE(static_cast<bool>(opened));
        return MayOthersWrite(opened.Get());
    }

    const TempFolder folder;
    const CString path = folder.Path(L"folder");
};

TEST_F(FolderAccess, OfItsOwnerAloneLetsNoOtherAccountWrite)
{
    Make(OwnerAccess::Others::MayDoNothing);
    EXPECT_FALSE(MayOthersWriteToIt());
}

TEST_F(FolderAccess, ThatLetsOthersReadLetsThemNotWrite)
{
    Make(OwnerAccess::Others::MayRead);
    EXPECT_FALSE(MayOthersWriteToIt());
}

TEST_F(FolderAccess, ForAllLetsOthersWrite)
{
    ASSERT_TRUE(MakeFolderForAll(path.GetString()));
    EXPECT_TRUE(MayOthersWriteToIt());
}

TEST(AccessOfANullHandle, IsNotKnown) { EXPECT_FALSE(MayOthersWrite(nullptr)); }

} // namespace
