// A run of one test program. One thread.
#pragma once

#include "tests/selftest/TestResults.h"

#include <windows.h>

#include <filesystem>
#include <string>

class ProgramRun
{
public:
    // `token`: the account that the program runs as; null is this process's own. `work` is the program's own folder: it
    // must be empty, and may be removed after the run.
    ProgramRun(std::filesystem::path program, std::filesystem::path work, HANDLE token);

    // Runs the tests that the filter of GoogleTest names; an empty one names all. After `limit` seconds the program and
    // all that it has started are ended. A program that fails before its first test is run again in an empty folder, up
    // to three times in all.
    ProgramResult Run(const std::wstring& filter, DWORD limit);

private:
    ProgramEnd RunOnce(const std::wstring& filter, DWORD limit);
    std::string EndOfOutput() const;

    const std::filesystem::path m_program;
    const std::filesystem::path m_work;
    const HANDLE m_token;
};
