#include "companions/settings/OrbSettings.h"
#include "companions/settings/SettingsDamage.h"
#include "host/Console.h"
#include "host/DataFolderTrust.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "host/doctor/Probe.h"
#include "support/DigestOfFiles.h"
#include "support/Handle.h"
#include "support/HandleOwner.h"

namespace
{

constexpr DWORD ForAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool IsThere(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool MayOthersWriteTo(const std::wstring& folder)
{
    const FileHandle opened(CreateFileW(folder.c_str(), FILE_READ_ATTRIBUTES | READ_CONTROL, ForAll, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return opened && MayOthersWrite(opened.Get());
}

// Returns why the file cannot be opened, or ERROR_SUCCESS. Opening leaves a file as it is, whatever the access.
DWORD OpeningFails(const std::wstring& path, DWORD access)
{
    const FileHandle file(
        CreateFileW(path.c_str(), access, ForAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return file ? ERROR_SUCCESS : GetLastError();
}

// Returns the files to which damaged ones were renamed: those whose names go on with ".bad".
std::vector<std::wstring> PutAside(const std::wstring& path)
{
    std::vector<std::wstring> files;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW((path + L".bad*").c_str(), &data));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE)
        files.push_back(path.substr(0, path.rfind(L'\\') + 1) + data.cFileName);
    return files;
}

std::wstring NotTrusted(const std::wstring& reason) { return L"not trusted, and not used: " + reason; }

Check CheckFolder(const std::wstring& folder)
{
    const Subject about{"settings", folder};
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        if (const DWORD error = WhyNothingCanBeMade(folder))
            return about.Failed(L"the data folder is not there and cannot be made: " + SystemText(error) +
                                L" Name another one with --data-folder.");
        return about.Ok(L"the data folder is not there yet; the first start makes it");
    }
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
        return about.Failed(L"a file stands where the data folder should be; move it away");
    if (const std::wstring reason = DistrustOfFolder(folder); !reason.empty())
        return about.Failed(NotTrusted(reason));
    if (const DWORD error = WhyNothingCanBeMade(folder))
        return about.Failed(L"the data folder cannot be used: " + SystemText(error) +
                            L" Give this account the right to write there.");
    if (MayOthersWriteTo(folder))
        return about.Warning(
            L"other accounts may add files to the data folder. Their files are not trusted, but can keep the "
            L"product from its own. Let only the system, the administrators and this account write there: "
            L"icacls PATH /inheritance:r /grant:r SYSTEM:(OI)(CI)F Administrators:(OI)(CI)F Users:(OI)(CI)RX");
    return about.Ok(L"the data folder; settings are JSON files in it");
}

// The library itself writes the service-run settings alone.
Check CheckSettingsFile(const std::wstring& dataFolder, const wchar_t* name)
{
    const bool isOfRuns = std::wstring_view(name) == SettingsFileNames[1];
    const std::wstring path = dataFolder + L"\\" + name;
    const Subject about{"settings", path};
    const std::wstring loss = SettingsDamage::LossOf(name);
    const std::wstring consequence = isOfRuns       ? L"; it looks at everything again"
                                     : loss.empty() ? std::wstring()
                                                    : L". " + loss;
    if (const std::wstring reason = DistrustOfFile(path); !reason.empty())
        return about.Failed(NotTrusted(reason));
    if (FolderIsThere(path))
        return about.Failed(
            L"a folder stands in its place: the next start keeps it with the ending .bad and begins with empty "
            L"settings" +
            consequence);
    if (const DWORD error = OpeningFails(path, GENERIC_READ))
        return about.Failed(L"cannot be read: " + SystemText(error) + L" Does another program keep it to itself?");
    if (!ReadSettingsFile(dataFolder, name).is_object()) {
        const std::wstring place = SettingsDamage::PlaceIn(ReadBytes(path));
        return about.Failed(L"damaged" + (place.empty() ? place : L" (" + place + L")") +
                            L": the next start keeps it with the ending .bad and begins with empty settings" +
                            consequence);
    }
    if (const DWORD error = WhyNotWritable(path))
        return isOfRuns ? about.Failed(L"cannot be written: " + SystemText(error) +
                                       L" What a watch notes there is lost; make it writable.")
                        : about.Warning(L"cannot be written: " + SystemText(error) +
                                        L" Whoever changes these settings cannot; make it writable.");
    return about.Ok(L"can be read and written");
}

} // namespace

Checks CheckSettings(const std::wstring& dataFolder)
{
    Checks checks{CheckFolder(dataFolder)};
    for (const wchar_t* name : SettingsFileNames) {
        const std::wstring path = dataFolder + L"\\" + name;
        if (IsThere(path))
            checks.push_back(CheckSettingsFile(dataFolder, name));
        for (const std::wstring& aside : PutAside(path))
            checks.push_back({"settings", Check::State::Warning,
                              L"damaged settings that were put aside; take over what is still wanted, then delete it",
                              aside});
    }
    return checks;
}

Checks CheckDump(const std::wstring& dataFolder)
{
    const std::wstring dump = dataFolder + L"\\watcher_dump.bin";
    const Subject about{"dump", dump};
    const FolderMemory memory = ReadFolderMemory(dataFolder);
    const std::optional<CString> left = memory.dump;
    if (!left && memory.IsOwned())
        return {about.Warning(L"what the last run left pending is not known, its note in the settings is lost; the "
                              L"next watch looks at everything again")};
    const bool noneLeft = !left || *left == L"none";
    if (!IsThere(dump) && noneLeft)
        return {};
    if (!IsThere(dump))
        return {about.Warning(L"what the last run left pending is missing; the next watch looks at everything again")};
    if (const std::wstring reason = DistrustOfFile(dump); !reason.empty())
        return {about.Failed(NotTrusted(reason) + L"; the next start looks at everything instead")};
    if (left && DigestOfFile(dump.c_str()) != *left)
        return {about.Warning(
            L"what is pending is not as the last run left it: damaged, cut or another file. The next watch looks at "
            L"everything again")};
    return {about.Ok(L"what the last run left pending; it comes first at the next watch")};
}

Checks CheckLog(const std::wstring& dataFolder)
{
    const std::wstring path = dataFolder + L"\\OrbWatcher.log";
    const Subject about{"log", path};
    if (!IsThere(path))
        return {about.Ok(L"not there yet; what is logged comes here")};
    if (const std::wstring reason = DistrustOfFile(path); !reason.empty())
        return {about.Failed(NotTrusted(reason))};
    if (const DWORD error = OpeningFails(path, FILE_APPEND_DATA))
        return {about.Failed(L"cannot be written: " + SystemText(error) + L" Nothing is logged until it can.")};
    return {about.Ok(L"can be written")};
}
