// The index library reports the result that an operation had.
#include "tests/faults/FaultyWatcher.h"

#include <optional>

namespace
{

class FaultyIndex : public FaultyWatcher
{
protected:
    void Prepare()
    {
        CIndexDB::ClearCache();
        CIndexDB index;
        Open(index);
        ASSERT_TRUE(index.ForgetItem(item.path));
        opened = loaded = recorded = false;
        subject.emplace();
        subject->SetDBFilePath(path);
    }
    void Open(CIndexDB& index)
    {
        index.SetDBFilePath(path);
        ASSERT_TRUE(index.Open(1, 0, 0)) << Narrow(index.GetLastDbErrorText().View());
    }
    // As a service begins.
    void Run()
    {
        opened = subject->Open(1, 0, 0);
        loaded = opened && subject->LoadCache();
        recorded = loaded && subject->RecordItem(item);
        error = subject->GetLastDbError();
    }
    static bool IsCached()
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(L"C:\\recorded.txt", datum);
    }
    void Check()
    {
        EXPECT_EQ(recorded, error == CIndexDB::Error::None);
        EXPECT_TRUE(!loaded || !CIndexDB::CacheLoaded() || IsCached() == recorded);
        subject.reset();
        CIndexDB index;
        Open(index);
        ASSERT_TRUE(index.LoadCache());
        EXPECT_TRUE(IsCached() || !recorded);
        EXPECT_TRUE(index.RecordItem(item));
        EXPECT_TRUE(IsCached());
    }

    std::optional<CIndexDB> subject;
    const CString path = folder.Path(L"faulty.db");
    const ItemDatum item{L"C:\\recorded.txt", 0, 5, 0, 0};
    bool opened = false, loaded = false, recorded = false;
    CIndexDB::Error error = CIndexDB::Error::None;
};

TEST_P(FaultyIndex, SaysWhatItDid)
{
    TryFaults({"index opened, read and written", [this] { Prepare(); }, [this] { Run(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyIndex,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::Writing(), Faults::FullDisk(),
                                         Faults::Mapping(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
