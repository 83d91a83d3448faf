#include "tests/selftest/KitDrives.h"

#include "tests/support/TestMachine.h"

#include <windows.h>

#include <string_view>

namespace
{

constexpr char Letters[] = {'e', 'f', 'g'};

std::string Upper(char letter) { return std::string(1, static_cast<char>(letter - 'a' + 'A')) + ":"; }

// Returns whether the letter stands for a folder below this one, as Windows says. Wine does not say.
bool LeadsBelow(char letter, const std::filesystem::path& folder)
{
    wchar_t device[1024] = L"";
    const std::wstring name = std::wstring(1, static_cast<wchar_t>(letter)) + L":";
    return QueryDosDeviceW(name.c_str(), device, 1024) &&
           std::wstring_view(device).starts_with(L"\\??\\" + folder.wstring() + L"\\");
}

} // namespace

KitDrives::KitDrives(const std::filesystem::path& folder) : m_folder(folder)
{
    DetachLettersBelowFolder();
    for (const char letter : Letters)
        if (HasDrive(letter))
            m_failure += (m_failure.empty() ? "" : ", ") + Upper(letter);
    if (!m_failure.empty()) {
        m_failure = "these letters are in use, and the tests need them: " + m_failure +
                    ". Take the drives out, or give them other letters, and start again. Nothing was run.";
        return;
    }
    for (const char letter : Letters) {
        const std::filesystem::path drive = m_folder / "drives" / std::string(1, letter);
        std::filesystem::create_directories(drive);
        WriteSerial(drive.wstring(), 0x4F524200u + static_cast<unsigned char>(letter));
        if (AttachDrive(letter, drive.c_str()))
            m_made.push_back(letter);
        else
            m_failure = "the drive " + Upper(letter) + " cannot be made";
    }
}

KitDrives::~KitDrives()
{
    for (const char letter : m_made)
        DetachDrive(letter);
    DetachLettersBelowFolder();
}

void KitDrives::DetachLettersBelowFolder() const
{
    for (char letter = 'a'; letter <= 'z'; ++letter)
        if (LeadsBelow(letter, m_folder))
            DetachDrive(letter);
}

void KitDrives::Restore() const
{
    for (const char letter : m_made)
        if (!HasDrive(letter))
            AttachDrive(letter, (m_folder / "drives" / std::string(1, letter)).c_str());
}
