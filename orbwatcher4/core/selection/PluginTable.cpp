#include "orbwatcher4/core/selection/PluginTable.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <optional>

namespace
{

CString ChildText(CMarkup& document, const wchar_t* name)
{
    CString text;
    if (!document.EnterElement())
        return text;
    if (document.FindElement(name))
        text = document.GetElementText();
    document.LeaveElement();
    return text;
}

// Leaves a text out that is too long for the record; the plugin stays.
CString Bounded(const wchar_t* what, const CString& text)
{
    if (text.GetLength() <= ProfileDatum::LongestText)
        return text;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The %s of a plugin is too long and is left out", what);
    return {};
}

// Returns nothing when the file cannot be read or is malformed.
std::optional<std::vector<ProfileDatum>> ReadPlugins(const CString& path)
{
    CMarkup document;
    if (path.IsEmpty() || !document.Load(path) || !document.GetParseError().IsEmpty())
        return std::nullopt;
    std::vector<ProfileDatum> plugins;
    if (document.FindElement(L"Data") && document.EnterElement())
        while (document.FindElement(L"Plugin")) {
            ProfileDatum plugin;
            plugin.id = ToInt32(document.GetAttributeView(L"id"));
            plugin.name = Bounded(L"name", document.GetAttribute(L"name"));
            plugin.virtualPath = Bounded(L"virtual path", document.GetAttribute(L"VPath"));
            plugin.guiName = Bounded(L"shown name", document.GetAttribute(L"GUIName"));
            plugin.rootPath = Bounded(L"root path", ChildText(document, L"rootPath"));
            plugins.push_back(plugin);
        }
    return plugins;
}

void LogFailure(const CIndexDB& index, const wchar_t* what)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s: %s", what, index.GetLastDbErrorText().GetString());
}

// Replaces the table in one batch, or changes nothing. A plugin that cannot be inserted is left out.
bool Replace(CIndexDB& index, const std::vector<ProfileDatum>& plugins)
{
    if (!index.BeginBatch() || !index.DropPluginTable() || !index.CreatePluginTable())
        return false;
    for (const ProfileDatum& plugin : plugins)
        if (!index.Insert(plugin))
            LogFailure(index, L"A plugin is left out");
    return index.CommitBatch();
}

} // namespace

bool FillPluginTable(const Config& config)
{
    const COrbFuncLog guard(L"COrbWatcher::FillPluginTable");
    const std::optional<std::vector<ProfileDatum>> plugins = ReadPlugins(config.files.data);
    if (!plugins) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to load Data XML File");
        return false;
    }
    CIndexDB index;
    index.SetDBFilePath(config.indexDatabase);
    if (!index.Open(1, 0, 0))
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to open Index DB");
    else if (!Replace(index, *plugins))
        LogFailure(index, L"The plugins stay as they were");
    return true;
}
