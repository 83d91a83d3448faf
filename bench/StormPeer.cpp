// Creates files below a folder, as another program does that the watching side does not wait for:
//   storm_peer FOLDER FOLDERS FILES PORTION NAME
//
// File N lies in folder N modulo FOLDERS. The event NAME is waited for before each portion. When a file was made is
// left in the mapping NAME-time, by the counter that all processes share.
#include "support/Handle.h"

#include <windows.h>

#include <cstdlib>
#include <string>

int wmain(int argc, wchar_t** argv)
{
    if (argc != 6)
        return 2;
    const std::wstring folder = argv[1], name = argv[5];
    const int folders = _wtoi(argv[2]), files = _wtoi(argv[3]), portion = _wtoi(argv[4]);
    const KernelHandle go(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
    const KernelHandle mapping(OpenFileMappingW(FILE_MAP_WRITE, FALSE, (name + L"-time").c_str()));
    auto* const last = static_cast<LARGE_INTEGER*>(
        mapping ? MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, sizeof(LARGE_INTEGER)) : nullptr);
    if (!go || !last)
        return 1;
    for (int number = 0; number < files; ++number) {
        if (number % portion == 0 && WaitForSingleObject(go.Get(), 120'000) != WAIT_OBJECT_0)
            return 1;
        const std::wstring path =
            folder + L"\\d" + std::to_wstring(number % folders) + L"\\file " + std::to_wstring(number) + L".txt";
        const FileHandle made(
            CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!made)
            return 1;
        QueryPerformanceCounter(last);
    }
    return 0;
}
