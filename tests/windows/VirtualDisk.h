// A virtual disk of its own volume, made for one test and removed at its end. Making one needs an administrator.
//
// Documentation of Windows: "diskpart": create vdisk, attach vdisk, create partition, format, assign, detach vdisk.
#pragma once

#include <filesystem>
#include <string>

class VirtualDisk
{
public:
    // The file of the disk and the script are made in the folder. `place` is a letter ("V:") or an empty folder on
    // NTFS, at which the volume appears.
    VirtualDisk(std::filesystem::path folder, std::wstring place);
    ~VirtualDisk();
    VirtualDisk(const VirtualDisk&) = delete;
    VirtualDisk& operator=(const VirtualDisk&) = delete;

    // Returns why there is no disk; empty when it is there.
    const std::string& WhyNot() const { return m_whyNot; }
    // As when a user takes the disk out. Returns false when the system refuses.
    bool Eject();
    bool Insert();

private:
    // Returns false, with the reason in m_whyNot, when diskpart fails.
    bool Step(const std::string& script);
    // Returns the exit code of diskpart.
    int Run(const std::string& script) const;
    std::string Select() const;

    const std::filesystem::path m_folder;
    const std::wstring m_place;
    std::string m_whyNot;
    bool m_attached = false;
};

// Returns a letter that no drive has, with its colon; empty when all are taken.
std::wstring FreeDrive();
