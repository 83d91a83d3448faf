#include "host/Destination.h"

#include "host/Console.h"
#include "host/PathNames.h"
#include "orbwatcher4/OrbFilter.h"
#include "support/SystemPath.h"

#include <windows.h>

namespace
{

using State = Check::State;

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
    return finding(State::Ok, AttributesOf(full) == INVALID_FILE_ATTRIBUTES
                                  ? L"not there yet; what will be in it is never backed up"
                                  : L"there; what is in it is never backed up");
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
