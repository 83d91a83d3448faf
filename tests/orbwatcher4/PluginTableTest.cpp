// The index knows the plugins of the selection.
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class PluginTable : public WatcherFixture
{
protected:
    PluginTable() { watcher.SetIndexDB(folder.Path(L"index.db")); }

    bool Fill(const std::string& elements)
    {
        watcher.SetDataXmlPath(WriteRules(L"data.xml", elements));
        return watcher.FillPluginTable();
    }
    std::vector<std::wstring> Names()
    {
        std::vector<std::wstring> names;
        for (const ProfileDatum& plugin : Index().GetPlugins())
            names.emplace_back(plugin.name);
        return names;
    }
};

TEST_F(PluginTable, HoldsEveryPluginWithAllItsTexts)
{
    EXPECT_TRUE(Fill(R"(<Item path="C:\x"/><Plugin id="7" name="Mail" VPath="\Mail &amp; more" GUIName="E-Mail">)"
                     R"(<rootPath>C:\Mail</rootPath></Plugin><Plugin id="x" name="None"/>)"));
    const std::vector<ProfileDatum> plugins = Index().GetPlugins();
    ASSERT_EQ(plugins.size(), 2u);
    EXPECT_EQ(plugins[0].id, 7);
    EXPECT_EQ(plugins[0].name, L"Mail");
    EXPECT_EQ(plugins[0].virtualPath, L"\\Mail & more");
    EXPECT_EQ(plugins[0].guiName, L"E-Mail");
    EXPECT_EQ(plugins[0].rootPath, L"C:\\Mail");
    EXPECT_EQ(plugins[1].id, 0);
    EXPECT_EQ(plugins[1].rootPath, L"");
}

TEST_F(PluginTable, IsThatOfTheSelectionAsItIsNow)
{
    EXPECT_TRUE(Fill(R"(<Plugin id="2" name="b"/><Plugin id="1" name="a"/>)"));
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"b", L"a"}));
    EXPECT_TRUE(Fill(""));
    EXPECT_TRUE(Names().empty());
}

TEST_F(PluginTable, StaysAsItWasWhenTheSelectionCannotBeLoaded)
{
    EXPECT_TRUE(Fill(R"(<Plugin id="1" name="a"/>)"));
    folder.WriteBytes(L"data.xml", "<Data><Plugin");
    EXPECT_FALSE(watcher.FillPluginTable());
    EXPECT_TRUE(log.Has(L"Failed to load Data XML File"));
    EXPECT_EQ(Names(), std::vector<std::wstring>{L"a"});
}

TEST_F(PluginTable, IsLeftOutWhenTheIndexCannotBeOpened)
{
    watcher.SetIndexDB(folder.Path(L"no such folder\\index.db"));
    EXPECT_TRUE(Fill(R"(<Plugin id="1" name="a"/>)"));
    EXPECT_TRUE(log.Has(L"Failed to open Index DB"));
}

TEST_F(PluginTable, LeavesATextThatIsTooLongOutAndKeepsThePlugin)
{
    EXPECT_TRUE(Fill(R"(<Plugin id="1" name=")" + std::string(260, 'n') + R"("/><Plugin id="2" name=")" +
                     std::string(259, 'n') + R"("/>)"));
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"", std::wstring(259, L'n')}));
}

TEST_F(PluginTable, IsFilledAtTheStartOfTheWatcher)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem() + R"(<Plugin id="1" name="a"/>)"));
    watcher.StartWatch();
    watcher.AbortWatching();
    EXPECT_EQ(Names(), std::vector<std::wstring>{L"a"});
}

} // namespace
