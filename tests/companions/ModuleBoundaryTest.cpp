// Each DLL holds a copy of the string class: its texts must survive being
// copied and dropped by other modules.
#include "companions/online/OnlineCallbackHandler.h"
#include "tests/companions/IndexTest.h"

namespace
{

class ModuleBoundary : public IndexTest
{
};

TEST_F(ModuleBoundary, EmptyTextsOfALibraryMayBeCopiedAndDroppedHere)
{
    Create();
    ASSERT_TRUE(db.Insert(ProfileDatum{1, L"", L"", L"", L""}));
    std::vector<ProfileDatum> plugins = db.GetPlugins();
    ASSERT_EQ(plugins.size(), 1u);
    SetLastError(ERROR_SUCCESS);
    {
        const ProfileDatum copy = plugins[0];
        EXPECT_TRUE(copy.name.IsEmpty());
    }
    plugins.clear();
    // The heap refuses a block that is not its own.
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST_F(ModuleBoundary, EmptyTextsFromHereMayBeDroppedInALibrary)
{
    Create();
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\a")));
    ASSERT_TRUE(db.LoadCache());
    for (int i = 0; i < 3; ++i) {
        CachedDatum datum;
        const CString share = datum.path;
        ASSERT_TRUE(CIndexDB::GetCachedData(L"C:\\a", datum));
        EXPECT_EQ(datum.path, L"C:\\a");
        EXPECT_TRUE(share.IsEmpty());
    }
}

TEST_F(ModuleBoundary, AnEmptyTextOfALibraryCanBeWrittenToHere)
{
    temp.WriteBytes(L"data\\outbox", "a file where the folder should be");
    OnlineCallbackHandler handler;
    int number = 0;
    CString text = handler.GetTransactionXml(number, false, true);
    ASSERT_TRUE(text.IsEmpty());
    text += L"more";
    text.MakeUpper();
    EXPECT_EQ(text, L"MORE");
}

TEST_F(ModuleBoundary, DeleteMapsAreOneForTheWholeProcess)
{
    const CSingleLock lock(CIndexDB::m_csMapDelete);
    CIndexDB::m_mapDeletePtr[L"C:\\a"] = 5;
    EXPECT_EQ(CIndexDB::m_mapDeletePtr.size(), 1u);
    EXPECT_TRUE(CIndexDB::m_mapDeleteDRPtr.empty());
    CIndexDB::m_mapDeletePtr.clear();
}

} // namespace
