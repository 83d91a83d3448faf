#include "host/Wine.h"
#include "tests/support/EnvironmentText.h"
#include "tests/support/FolderTree.h"
#include "tests/support/SystemBelow.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace
{

std::wstring Drive(char letter) { return std::wstring(1, static_cast<wchar_t>(letter)) + L":"; }

std::wstring DriveLink(char letter) { return L"${WINEPREFIX:-$HOME/.wine}/dosdevices/" + Drive(letter); }

} // namespace

// Wine answers DefineDosDevice with success and makes no drive; there a drive is a link of the prefix.
bool AttachDrive(char letter, const wchar_t* folder)
{
    if (RunsUnderWine())
        return RunBelow(L"ln -sfn '" + PathBelow(folder) + L"' " + DriveLink(letter));
    return DefineDosDeviceW(0, Drive(letter).c_str(), folder) != FALSE;
}

bool DetachDrive(char letter)
{
    if (RunsUnderWine())
        return RunBelow(L"rm -f " + DriveLink(letter));
    wchar_t device[1024] = L"";
    constexpr std::wstring_view substituted = L"\\??\\"; // so the system names what is no device
    if (!QueryDosDeviceW(Drive(letter).c_str(), device, 1024) || !std::wstring_view(device).starts_with(substituted))
        return false; // a drive of the machine stays
    return DefineDosDeviceW(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, Drive(letter).c_str(),
                            device + substituted.size()) != FALSE;
}

bool HasDrive(char letter)
{
    return (GetLogicalDrives() >> (letter - 'a') & 1) != 0 ||
           GetFileAttributesW((Drive(letter) + L"\\").c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring FolderOfDrive(char letter)
{
    std::wstring drives = EnvironmentText(L"ORB_TEST_DRIVES");
    if (drives.empty()) {
        drives = L"Z:" + EnvironmentText(L"WINEPREFIX") + L"\\drives";
        std::replace(drives.begin(), drives.end(), L'/', L'\\');
    }
    return drives + L"\\" + static_cast<wchar_t>(letter);
}

unsigned SerialOfDrive(char letter)
{
    DWORD serial = 0;
    GetVolumeInformationW((Drive(letter) + L"\\").c_str(), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0);
    return serial;
}

std::string WhyNoSerial(char letter)
{
    return SerialOfDrive(letter) != 0 ? "" : "drives without serial numbers: Wine knows those of its own start alone";
}

std::string WhyDrivesShareAVolume()
{
    return SerialOfDrive('e') != SerialOfDrive('g')
               ? ""
               : "drives without a volume of their own: E: and G: have the same serial number";
}

std::wstring TestShare()
{
    constexpr const wchar_t* share = L"\\\\server\\share";
    return RunsUnderWine() && GetFileAttributesW(share) != INVALID_FILE_ATTRIBUTES ? share : L"";
}

std::wstring ForbiddenFolder() { return RunsUnderWine() ? L"Z:\\proc\\sys" : EnvironmentText(L"SystemRoot"); }

std::wstring MakeVolume(const wchar_t* name, unsigned serial)
{
    const std::wstring folder =
        EnvironmentText(L"TEMP") + L"\\orb-volume-" + name + L"-" + std::to_wstring(GetCurrentProcessId());
    RemoveTree(folder);
    CreateDirectoryW(folder.c_str(), nullptr);
    WriteSerial(folder, serial);
    return folder;
}

void WriteSerial(const std::wstring& folder, unsigned serial)
{
    if (FILE* file = _wfopen((folder + L"\\.windows-serial").c_str(), L"wb")) {
        std::fprintf(file, "%08x\n", serial);
        std::fclose(file);
    }
}
