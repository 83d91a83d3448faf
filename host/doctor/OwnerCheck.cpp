#include "companions/indexdb/IndexExamination.h"
#include "host/Console.h"
#include "host/ExclusiveUse.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"

#include <windows.h>

namespace
{

using State = Check::State;

// Returns the finding about an index that is lost or was exchanged; an empty text when it is the one of the last run.
std::wstring OtherIndex(const FolderMemory& memory)
{
    if (memory.indexIdentity.IsEmpty() || memory.owner.index.IsEmpty())
        return L"";
    if (GetFileAttributesW(memory.owner.index) == INVALID_FILE_ATTRIBUTES)
        return L"the index of the last run is lost: put it back, or the next watch makes a new one and looks at "
               L"everything again";
    const CString now = IndexIdentity(memory.owner.index);
    if (now.IsEmpty() || now == memory.indexIdentity)
        return L"";
    return L"the index is not the one of the last run: put that one back, or the next watch looks at everything again";
}

} // namespace

Checks CheckOwner(const std::wstring& dataFolder, const std::wstring& selection, const std::wstring& index)
{
    const FolderMemory memory = ReadFolderMemory(dataFolder);
    const std::wstring owner = NamedUse(memory.owner);
    if (owner.empty() && !memory.fullCompleted && FileIsThere(dataFolder + L"\\watcher_dump.bin"))
        return {
            {"owner", State::Warning,
             L"the settings of the last run are lost: something is pending here, and the folder remembers neither "
             L"whose it is nor when everything was looked at. The next watch takes the folder for its own and looks "
             L"at everything again",
             dataFolder}};
    if (owner.empty())
        return {{"owner", State::Ok, L"belongs to no selection yet; the first watch makes it its own", dataFolder}};
    Checks checks;
    if (AreSameUse(memory.owner, {selection.c_str(), index.c_str()}))
        checks.push_back({"owner", State::Ok, L"belongs to " + owner, dataFolder});
    else
        checks.push_back({"owner", State::Warning,
                          L"belongs to " + owner +
                              L", and not to what is named here: a watch is refused. Name another data folder with "
                              L"--data-folder, or take this one over with --take-over: everything is then looked at "
                              L"again",
                          dataFolder});
    if (const std::wstring other = OtherIndex(memory); !other.empty())
        checks.push_back({"owner", State::Warning, other, memory.owner.index.GetString()});
    return checks;
}
