#include "tests/support/CountedCalls.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>

// lock inc qword ptr [rip + 8]; jmp qword ptr [rip + 10]; two bytes that are never reached; then what these refer to.
struct CountedCalls::Counter {
    std::array<unsigned char, 16> code = {0xF0, 0x48, 0xFF, 0x05, 8, 0, 0, 0, 0xFF, 0x25, 10, 0, 0, 0, 0xCC, 0xCC};
    volatile std::uint64_t count = 0;
    ULONG_PTR function = 0;
};

CountedCalls::CountedCalls(std::initializer_list<const wchar_t*> modules)
{
    static_assert(offsetof(Counter, count) == 16 && offsetof(Counter, function) == 24);
    for (const wchar_t* module : modules)
        Collect(reinterpret_cast<std::byte*>(GetModuleHandleW(module)));
    void* memory =
        VirtualAlloc(nullptr, m_imports.size() * sizeof(Counter), MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    if (!memory)
        throw std::bad_alloc();
    m_counters = new (memory) Counter[m_imports.size()];
    for (std::size_t i = 0; i < m_imports.size(); ++i) {
        m_counters[i].function = *m_imports[i].place;
        Put(m_imports[i].place, reinterpret_cast<ULONG_PTR>(&m_counters[i]));
    }
}

// The memory stays: another thread may be on its way through it.
CountedCalls::~CountedCalls()
{
    for (std::size_t i = 0; i < m_imports.size(); ++i)
        Put(m_imports[i].place, m_counters[i].function);
}

CountedCalls::Counts CountedCalls::Now() const
{
    Counts counts;
    for (std::size_t i = 0; i < m_imports.size(); ++i)
        if (m_counters[i].count != 0)
            counts[m_imports[i].name] += m_counters[i].count;
    return counts;
}

void CountedCalls::Collect(std::byte* module)
{
    static constexpr const char* libraries[] = {"KERNEL32.dll", "ADVAPI32.dll", "SHLWAPI.dll", "USER32.dll",
                                                "ntdll.dll"};
    const auto* header =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(module + reinterpret_cast<const IMAGE_DOS_HEADER*>(module)->e_lfanew);
    const DWORD imports = header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* from = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(module + imports); from->Name; ++from) {
        const char* library = reinterpret_cast<const char*>(module + from->Name);
        if (std::none_of(std::begin(libraries), std::end(libraries),
                         [&](const char* known) { return lstrcmpiA(known, library) == 0; }))
            continue;
        const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(module + from->OriginalFirstThunk);
        auto* places = reinterpret_cast<ULONG_PTR*>(module + from->FirstThunk);
        for (; names->u1.AddressOfData; ++names, ++places)
            if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                m_imports.push_back(
                    {places,
                     reinterpret_cast<const char*>(
                         reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(module + names->u1.AddressOfData)->Name)});
    }
}

void CountedCalls::Put(ULONG_PTR* place, ULONG_PTR function)
{
    DWORD before = 0;
    VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &before);
    *place = function;
    VirtualProtect(place, sizeof(*place), before, &before);
}
