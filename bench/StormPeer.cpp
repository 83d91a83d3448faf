// Creates files below a folder at a steady pace, as another program does that does not wait for the watching side:
//   storm_peer FOLDER FOLDERS FILES PER_SECOND NAME
//
// File N lies in folder N modulo FOLDERS. The event NAME is waited for before the first file. The mapping NAME-times
// receives two numbers for each file, by the counter that all processes share: the time before the call that makes the
// file, and the time after it.
#include "support/Handle.h"

#include <windows.h>

#include <cstdlib>
#include <string>

namespace
{

LONGLONG Now()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

LONGLONG TicksPerSecond()
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

bool Make(const std::wstring& path)
{
    return static_cast<bool>(
        FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 6)
        return 2;
    const std::wstring folder = argv[1], name = argv[5];
    const int folders = _wtoi(argv[2]), files = _wtoi(argv[3]), perSecond = _wtoi(argv[4]);
    const KernelHandle go(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
    const KernelHandle mapping(OpenFileMappingW(FILE_MAP_WRITE, FALSE, (name + L"-times").c_str()));
    auto* times = static_cast<LONGLONG*>(mapping ? MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, 0) : nullptr);
    if (!go || !times || WaitForSingleObject(go.Get(), 120'000) != WAIT_OBJECT_0)
        return 1;
    const LONGLONG begin = Now(), ticks = TicksPerSecond();
    for (int number = 0; number < files; ++number) {
        const LONGLONG due = begin + number * ticks / perSecond;
        while (Now() < due)
            Sleep(1);
        const std::wstring path =
            folder + L"\\d" + std::to_wstring(number % folders) + L"\\file " + std::to_wstring(number) + L".txt";
        *times++ = Now();
        if (!Make(path))
            return 1;
        *times++ = Now();
    }
    return 0;
}
