// The unpacked kit on the disk: the folder above that of the runner. One thread.
//
//     selftest.cmd         starts bin\selftest.exe
//     test-programs.txt    the names of the test programs, one a line
//     bin\                 the runner, the test programs, the product and all DLLs
//     sources\             what tests compare the product with
//     work\                made and removed by each run
//     report.xml, report.html
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class Kit
{
public:
    Kit();

    bool IsOnDriveC() const;
    std::vector<std::wstring> Programs() const;
    std::filesystem::path ProgramFile(const std::wstring& program) const;
    std::filesystem::path Sources() const { return m_root / "sources"; }
    std::filesystem::path Work() const { return m_root / "work"; }

    // Makes the folder of the run, which belongs to the user, whatever rights this process has. Returns false, with a
    // last error, when it cannot be made. It first removes the leftovers of an interrupted run.
    bool MakeWork() const;
    // Returns false when something is left.
    bool RemoveWork() const;
    bool WriteReport(const char* name, const std::string& text) const;

private:
    std::filesystem::path m_root;
};
