// A test program that does what its own file is called: passes, fails, skips, crashes, hangs, exits,
// litters, or does not begin.
#include "tests/support/EnvironmentText.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace
{

std::wstring OwnName()
{
    wchar_t path[1024] = L"";
    GetModuleFileNameW(nullptr, path, 1024);
    return std::filesystem::path(path).stem().wstring();
}

std::filesystem::path Counter() { return OwnName() + L".count"; }

// Before the first test, as a program that the system fails to start: "stumbles" ends with 1 when it finds its own
// leftovers or runs for the first time, "silent" ends with 0. The counter is beside the program.
class BeforeTheTests
{
public:
    BeforeTheTests()
    {
        const std::wstring name = OwnName();
        if (name != L"stumbles" && name != L"silent")
            return;
        const bool isFirst = !std::filesystem::exists(Counter());
        std::ofstream(Counter(), std::ios::app) << "1";
        const std::filesystem::path left = EnvironmentText(L"TEMP") + L"\\left.txt";
        const bool meetsLeftovers = std::filesystem::exists(left);
        std::ofstream(left) << "left";
        if (name == L"silent")
            std::_Exit(0);
        if (isFirst || meetsLeftovers)
            std::_Exit(1);
    }
};

const BeforeTheTests beforeTheTests;

void Hang()
{
    // A process that outlives its parent would keep the folder in use.
    std::wstring line = L"cmd.exe /c pause";
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process);
    Sleep(INFINITE);
}

TEST(Misbehaving, First) {}

TEST(Misbehaving, Second)
{
    const std::wstring name = OwnName();
    std::printf("this is %ls\n", name.c_str());
    std::fflush(stdout);
    if (name == L"fails")
        FAIL() << "as <asked> & \"wanted\"";
    if (name == L"skips")
        GTEST_SKIP() << "for a reason";
    if (name == L"crashes")
        *static_cast<volatile int*>(nullptr) = 1;
    if (name == L"hangs")
        Hang();
    if (name == L"exits")
        std::_Exit(0);
    if (name == L"litters") {
        std::ofstream(std::filesystem::path(L"E:\\left.txt")) << "left";
        std::ofstream(std::filesystem::path(EnvironmentText(L"TEMP") + L"\\left.txt")) << "left";
    }
}

TEST(Misbehaving, Third) {}

} // namespace
