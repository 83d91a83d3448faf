// The drives E, F and G of the tests, for as long as the object lives. Each is a folder. One thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class KitDrives
{
public:
    // Makes nothing when one of the letters is taken. Takes away letters that a killed runner has left. The folders are
    // made below `folder`.
    explicit KitDrives(const std::filesystem::path& folder);
    // Takes away every letter that stands for something below the folder, also those that a test has left.
    ~KitDrives();
    KitDrives(const KitDrives&) = delete;
    KitDrives& operator=(const KitDrives&) = delete;

    // Returns what is wrong and what to do about it; empty when the drives are there.
    const std::string& Failure() const { return m_failure; }
    // Puts a drive back that a killed program has taken away.
    void Restore() const;

private:
    void DetachLettersBelowFolder() const;

    const std::filesystem::path m_folder;
    std::vector<char> m_made;
    std::string m_failure;
};
