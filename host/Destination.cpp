#include "host/Destination.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/PathNames.h"
#include "orbwatcher4/OrbFilter.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <vector>

namespace
{

using State = Check::State;

constexpr const wchar_t* NotThere = L"not there; is it spelled right? What will be in it is never backed up";

DWORD AttributesOf(const std::wstring& path) { return GetFileAttributesW(SystemPath(path.c_str())); }

} // namespace

Check CheckDestination(const std::wstring& written)
{
    const std::wstring full = FullPath(written);
    const auto finding = [&](State state, const std::wstring& text) { return Check{"destination", state, text, full}; };
    if (ImpossibleUnitIn(written))
        return finding(State::Failed, L"this can be no folder: a name in it holds one of < > : \" | ? *");
    // The paths that it is compared with are full ones, and a later command may run in another folder.
    if (!IsFullPath(written))
        return finding(State::Failed, L"\"" + written +
                                          L"\" is no full path and depends on the folder that the command runs in; "
                                          L"write it with its drive or share");
    const CString root = OrbFilter::StripToRoot(full.c_str());
    if (AttributesOf(root.GetString()) == INVALID_FILE_ATTRIBUTES)
        return finding(State::Warning, std::wstring(L"its drive or share, ") + root.GetString() +
                                           L", is not there; is the destination spelled right?");
    if (const std::wstring file = FileInTheWay(full); !file.empty())
        return finding(State::Failed, L"no folder can be there, because " + file + L" is a file");
    if (AttributesOf(full) == INVALID_FILE_ATTRIBUTES)
        return finding(State::Warning, NotThere);
    return finding(State::Ok, L"there; what is in it is never backed up");
}

std::optional<Check> CheckDestinationSetting(const std::wstring& written)
{
    if (written.empty())
        return std::nullopt;
    const auto warning = [](const std::wstring& text, const std::wstring& path) {
        return Check{"settings", State::Warning, text, path};
    };
    const std::wstring form = OrbFilter::SystemForm(written.c_str()).GetString();
    if (!IsFullPath(form) || form.starts_with(L"\\\\?\\") || form.starts_with(L"\\\\.\\"))
        return warning(L"Backup::path \"" + written +
                           L"\" is no full path, and nothing is kept out by it; write the destination with its drive "
                           L"or share, as in D:\\Backup",
                       L"");
    if (AttributesOf(form) == INVALID_FILE_ATTRIBUTES)
        return warning(L"the destination of the setting Backup::path: " + std::wstring(NotThere), form);
    return std::nullopt;
}

void TellDestinationSetting(RecordWriter& writer)
{
    std::vector<wchar_t> written(2048); // the library reads no longer one
    if (!GetUserConfigurations().GetValue(DestinationKey, written.data(), written.size()))
        return;
    if (const std::optional<Check> check = CheckDestinationSetting(written.data()))
        writer.Note(check->text, check->path);
}

bool IsUsableDestination(const std::wstring& written, RecordWriter& writer)
{
    if (written.empty())
        return true;
    const Check check = CheckDestination(written);
    if (check.state == State::Failed)
        writer.Error(L"the destination cannot be used: " + check.text + L". Name another --destination.", check.path);
    else if (check.state == State::Warning)
        writer.Note(L"the destination: " + check.text, check.path);
    return check.state != State::Failed;
}
