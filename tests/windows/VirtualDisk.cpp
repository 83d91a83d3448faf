#include "tests/windows/VirtualDisk.h"

#include "tests/support/TestMachine.h"
#include "tests/windows/Commands.h"
#include "tests/windows/Reasons.h"

#include <shlobj.h>

#include <fstream>

VirtualDisk::VirtualDisk(std::filesystem::path folder, std::wstring place)
    : m_folder(std::move(folder)),
      m_place(std::move(place))
{
    const std::string where = m_place.ends_with(L":") ? "assign letter=" + Narrow(m_place.substr(0, 1))
                                                      : "assign mount=\"" + Narrow(m_place) + "\"";
    if (RunCommand(L"diskpart.exe /?") == -1) {
        m_whyNot = ::WhyNot("starting diskpart");
        return;
    }
    // Attached alone: what fails afterwards leaves a disk that must be detached.
    m_attached = Step("create vdisk file=\"" + Narrow((m_folder / "disk.vhd").wstring()) + "\" maximum=64\n" +
                      Select() + "attach vdisk\n");
    if (m_attached)
        Step(Select() + "create partition primary\nformat fs=ntfs quick\n" + where + "\n");
}

VirtualDisk::~VirtualDisk()
{
    if (m_attached)
        Eject();
}

bool VirtualDisk::Eject() { return Run(Select() + "detach vdisk\n") == 0; }
bool VirtualDisk::Insert() { return Run(Select() + "attach vdisk\n") == 0; }

bool VirtualDisk::Step(const std::string& script)
{
    const int code = Run(script);
    if (code != 0)
        m_whyNot = (IsUserAnAdmin() ? "" : "needs an administrator: ") +
                   std::string("diskpart makes no virtual disk: it ends with code ") + std::to_string(code);
    return code == 0;
}

std::string VirtualDisk::Select() const
{
    return "select vdisk file=\"" + Narrow((m_folder / "disk.vhd").wstring()) + "\"\n";
}

int VirtualDisk::Run(const std::string& script) const
{
    const std::filesystem::path file = m_folder / "diskpart.txt";
    std::ofstream(file) << script;
    return RunCommand(L"diskpart.exe /s \"" + file.wstring() + L"\"");
}

std::wstring FreeDrive()
{
    for (char letter = 'v'; letter >= 'h'; --letter)
        if (!HasDrive(letter))
            return std::wstring(1, static_cast<wchar_t>(letter - 'a' + 'A')) + L":";
    return {};
}
