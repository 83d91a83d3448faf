// A network share of the machine itself.
//
// Documentation of Windows: "NetShareAdd" (needs an administrator), "NetShareDel"; "ReadDirectoryChangesW":
// ERROR_INVALID_PARAMETER for a buffer of more than 64 KB on a share.
#include "tests/orbwatcher4/RunningWatch.h"
#include "tests/windows/Reasons.h"

#include <lm.h>

namespace
{

// A folder under a name of the network, until the object goes.
class Share
{
public:
    explicit Share(const CString& folder) : m_name(L"orbtest" + std::to_wstring(GetCurrentProcessId()))
    {
        std::wstring path = folder.GetString();
        SHARE_INFO_2 share = {};
        share.shi2_netname = m_name.data();
        share.shi2_type = STYPE_DISKTREE;
        share.shi2_max_uses = static_cast<DWORD>(-1);
        share.shi2_path = path.data();
        m_error = NetShareAdd(nullptr, 2, reinterpret_cast<BYTE*>(&share), nullptr);
    }
    ~Share()
    {
        if (m_error == NERR_Success)
            NetShareDel(nullptr, m_name.data(), 0);
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    // Returns why there is no share; empty when it is there.
    std::string Why() const
    {
        if (m_error != NERR_Success)
            return WhyNot("NetShareAdd", m_error);
        return GetFileAttributesW(Path().c_str()) == INVALID_FILE_ATTRIBUTES ? WhyNot("opening the new share") : "";
    }
    std::wstring Path() const { return L"\\\\localhost\\" + m_name; }

private:
    std::wstring m_name;
    NET_API_STATUS m_error = 0;
};

class Shares : public RunningWatch
{
protected:
    std::string ItemOn(const Share& share)
    {
        return Item(L"path=\"" + share.Path() + L"\\docs\" type=\"1\" includeSub=\"1\"");
    }
};

TEST_F(Shares, AFileThatIsMadeOnAShareIsHandedOutUnderItsNetworkPath)
{
    MakeFolder(L"docs");
    const Share share(tree);
    if (const std::string why = share.Why(); !why.empty())
        GTEST_SKIP() << why;
    watcher.SetDataXmlPath(WriteRules(L"data.xml", ItemOn(share)));
    StartAndWait();
    Write(L"docs\\new.txt");
    EXPECT_TRUE(Receives(CString((share.Path() + L"\\docs\\new.txt").c_str())));
}

TEST_F(Shares, AnEnumerationReadsAShare)
{
    Write(L"docs\\old.txt");
    const Share share(tree);
    if (const std::string why = share.Why(); !why.empty())
        GTEST_SKIP() << why;
    Select(ItemOn(share));
    EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
    Parts().enumerator.EndRuns();
    EXPECT_TRUE(Pending(CString((share.Path() + L"\\docs\\old.txt").c_str())));
}

} // namespace
