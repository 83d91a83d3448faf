#include "host/Console.h"
#include "host/doctor/Checks.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

namespace
{

using State = Check::State;

bool IsThere(const CString& path) { return GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES; }

std::wstring Counted(std::size_t count, const wchar_t* what) { return std::to_wstring(count) + L" " + what; }

// Names the first paths that one warning is about, and counts the others.
void Name(const std::vector<std::wstring>& paths, const std::wstring& warning, Checks& checks)
{
    constexpr std::size_t mostNamed = 10;
    for (std::size_t i = 0; i < std::min(paths.size(), mostNamed); ++i)
        checks.push_back({"selection", State::Warning, warning, paths[i]});
    if (paths.size() > mostNamed)
        checks.push_back(
            {"selection", State::Warning, L"and " + Counted(paths.size() - mostNamed, L"more: ") + warning, L""});
}

// Checks the rules that include something on a present drive.
void CheckPaths(const SelectionView& selection, Checks& checks)
{
    std::vector<std::wstring> missing, folders;
    for (const FilterPtr& rule : selection.RulesOfPresentRoots()) {
        if (!rule->type && FolderIsThere(SystemPath(rule->path).GetString()))
            folders.emplace_back(rule->path.View());
        else if (rule->incEx == WatcherEnum::Include && !rule->path.IsEmpty() && !IsThere(rule->path))
            missing.emplace_back(rule->path.View());
    }
    std::vector<std::wstring> destination, own;
    for (const PassedOverPath& path : selection.IncludedInVain(SelectionView::AbsentRoots::AreLeftOut)) {
        if (path.why == PathOutcome::BackupFolder)
            destination.emplace_back(path.path.View());
        else if (path.why == PathOutcome::OwnFile)
            own.emplace_back(path.path.View());
    }
    Name(destination, L"included, and never backed up: it is in the backup destination", checks);
    Name(own, L"included, and never backed up: it is the product's own, as everything in the data folder", checks);
    Name(missing, L"included, and not there; is the rule spelled right? What comes later is watched", checks);
    Name(folders, L"a folder, and its rule is for a single file; is type=\"1\" includeSub=\"1\" meant?", checks);
}

Check CheckDrive(const SelectionView::Root& root)
{
    const std::wstring path(root.path.View());
    if (!root.there)
        return {"drives", State::Warning,
                L"the drive is not there, or holds another volume; its " +
                    Counted(root.rules, root.rules == 1 ? L"rule holds" : L"rules hold") + L" when it comes",
                path};
    wchar_t system[MAX_PATH + 1] = {};
    DWORD serial = 0;
    if (!GetVolumeInformationW(path.c_str(), nullptr, 0, &serial, nullptr, nullptr, system, MAX_PATH + 1))
        return {"drives", State::Warning,
                L"its file system cannot be asked; whether another volume is in its place goes unnoticed", path};
    wchar_t digits[9] = {};
    swprintf(digits, 9, L"%08X", static_cast<unsigned>(serial));
    return {"drives", State::Ok,
            L"there, " + std::wstring(system) + L", volume " + digits + L", " +
                Counted(root.rules, root.rules == 1 ? L"rule" : L"rules"),
            path};
}

} // namespace

Checks CheckSelection(const SelectionFiles& files, const KeptOutside& outside)
{
    Checks checks;
    const SelectionFindings findings = FindingsOf(files);
    for (const RuleFinding& finding : findings.inFiles.Kept())
        checks.push_back({"selection", finding.kind == RuleFinding::Kind::FileUnread ? State::Failed : State::Warning,
                          TextOf(finding, files), finding.file.GetString()});
    if (findings.inFiles.More() != 0)
        checks.push_back({"selection", State::Warning, MoreFindings(findings.inFiles.More()), files.data});
    for (const std::wstring& text : findings.others)
        checks.push_back({"selection", State::Warning, text, L""});
    if (findings.inFiles.Count(RuleFinding::Kind::FileUnread) != 0)
        return checks;
    const SelectionView selection(files, outside);
    std::size_t rules = 0;
    for (const SelectionView::Root& root : selection.Roots())
        rules += root.rules;
    const std::wstring loaded = L"can be loaded; " + Counted(rules, rules == 1 ? L"rule" : L"rules");
    const std::wstring nothing = selection.WhyNothing();
    if (!nothing.empty())
        checks.push_back({"selection", State::Warning, loaded + L", but " + nothing, files.data});
    else
        checks.push_back({"selection", State::Ok, loaded, files.data});
    CheckPaths(selection, checks);
    return checks;
}

Checks CheckDrives(const SelectionFiles& files)
{
    Checks checks;
    for (const SelectionView::Root& root : SelectionView(files).Roots())
        checks.push_back(CheckDrive(root));
    return checks;
}
