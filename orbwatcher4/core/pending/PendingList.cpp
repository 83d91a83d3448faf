#include "orbwatcher4/core/pending/PendingList.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/DocumentFile.h"
#include "support/FileReplacement.h"
#include "support/SameFile.h"
#include "xml/Markup.h"
#include "xml/MarkupEscape.h"

#include <algorithm>
#include <string>

namespace
{

void LogFailure(const wchar_t* what, const wchar_t* path)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s: %s", what, path);
}

bool EnterRoot(CMarkup& document)
{
    document.ResetPosition();
    return document.FindElement(L"root") && document.EnterElement();
}

// Has at most the two tags of the root itself.
bool IsEmptyRoot(CMarkup& document)
{
    document.ResetPosition();
    const std::wstring markup(document.FindElement(L"root") ? document.GetElementMarkup().View() : L"<<<");
    return std::count(markup.begin(), markup.end(), L'<') <= 2;
}

// Loads the list. An existing file that is no pending list is renamed, and a new list begins. Returns false when that
// fails.
bool OpenList(CMarkup& document, const wchar_t* path)
{
    const DWORD attributes = GetFileAttributesW(path);
    const bool there = attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
    if (there) {
        // A list that another process holds for a moment must not be renamed.
        if (!document.Load(path))
            return false;
        if (document.GetParseError().IsEmpty() && EnterRoot(document))
            return true;
        if (!SetAside(path))
            return false;
        LogFailure(L"This is no pending list; it is kept with the ending .bad", path);
        document = CMarkup();
    }
    document.AppendElement(L"root");
    return document.EnterElement();
}

bool IsSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }
bool IsPair(std::wstring_view text, std::size_t at)
{
    return at + 1 < text.size() && text[at] <= 0xDBFF && IsSurrogate(text[at + 1]) && text[at + 1] >= 0xDC00;
}

// A file name may contain half of a surrogate pair. Written as it is, UTF-8 would join it with the next tag, and the
// whole list would become unreadable.
std::wstring ItemMarkup(const CString& path)
{
    std::wstring markup = L"<item>";
    const std::wstring text = EscapeText(path.View());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!IsSurrogate(text[at]))
            markup += text[at];
        else if (IsPair(text, at))
            markup.append(text, at++, 2);
        else
            markup += L"&#" + std::to_wstring(static_cast<unsigned>(text[at])) + L";";
    }
    return markup + L"</item>";
}

// Returns at most so many, in the order of the store.
std::vector<CString> FilesOf(PendingStore& pending, int most)
{
    std::vector<CString> files;
    PendingStore::Locked store(pending);
    store->ForEach([&](const CString& path, const NotificationPtr& notification) {
        if (static_cast<int>(files.size()) >= most)
            return false;
        if (notification->kind == NotificationKind::Deleted)
            g_OrbLog.Log(L"File is Deleted: %s", path.GetString());
        else if (notification->ruleFlags & RuleFlags::Internal)
            g_OrbLog.Log(L"File is Internal: %s", path.GetString());
        else
            files.push_back(path);
        return true;
    });
    return files;
}

bool IsFileOfTheWatcher(const Config& config, const wchar_t* path)
{
    const SelectionFiles& files = config.files;
    for (const CString& own : {files.data, files.autoExclude, files.secondary, files.secondaryAutoExclude,
                               files.advanced, config.indexDatabase, config.queueDatabase})
        if (IsSameFile(own, path))
            return true;
    return false;
}

} // namespace

bool PendingList::IsList(const wchar_t* path)
{
    CMarkup document;
    if (!document.Load(path) || !document.GetParseError().IsEmpty() || !EnterRoot(document))
        return false;
    const auto has = [&](const wchar_t* element) { return EnterRoot(document) && document.FindElement(element); };
    return has(L"item") || has(L"count") || IsEmptyRoot(document);
}

void PendingList::Add(PendingStore& pending, const Config& config, const wchar_t* path, int most, int& count)
{
    if (IsFileOfTheWatcher(config, path))
        return LogFailure(L"The pending list cannot be written over a file of the watcher", path);
    CMarkup document;
    if (!OpenList(document, path))
        return LogFailure(L"The pending list cannot be opened, or is no such list and cannot be kept beside", path);
    for (const CString& file : FilesOf(pending, most)) {
        if (document.InsertMarkup(ItemMarkup(file).c_str()))
            ++count;
        else
            LogFailure(L"A pending file is missing in the list", file);
    }
    document.AppendElement(L"count", std::to_wstring(count).c_str());
    if (!SaveDocument(document, path))
        LogFailure(L"The pending list cannot be written", path);
}
