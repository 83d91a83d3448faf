// Stands in for a system function that one module of the process calls, for as
// long as it lives: so a test sees how the module calls it.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>

// The function itself, whatever stands in for it where a module calls it. Of kernel32.
template <typename Function>
Function* SystemFunction(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

class ImportedCall
{
public:
    // The module imports the function by this name. Null: the test program itself.
    template <typename Function>
    ImportedCall(const wchar_t* module, const char* name, Function* replacement)
        : m_place(PlaceOf(reinterpret_cast<std::byte*>(GetModuleHandleW(module)), name)),
          m_original(Put(reinterpret_cast<ULONG_PTR>(replacement)))
    {
    }
    ~ImportedCall() { Put(m_original); }
    ImportedCall(const ImportedCall&) = delete;
    ImportedCall& operator=(const ImportedCall&) = delete;

    static bool IsMade(const wchar_t* module, const char* name)
    {
        return FindPlace(reinterpret_cast<std::byte*>(GetModuleHandleW(module)), name) != nullptr;
    }

private:
    static ULONG_PTR* PlaceOf(std::byte* module, const char* name)
    {
        ULONG_PTR* place = FindPlace(module, name);
        if (!place)
            throw std::invalid_argument("the module does not import this function");
        return place;
    }

    static ULONG_PTR* FindPlace(std::byte* module, const char* name)
    {
        const auto* header = reinterpret_cast<const IMAGE_NT_HEADERS*>(
            module + reinterpret_cast<const IMAGE_DOS_HEADER*>(module)->e_lfanew);
        const DWORD imports = header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (const auto* from = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(module + imports); from->Name;
             ++from) {
            const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(module + from->OriginalFirstThunk);
            auto* places = reinterpret_cast<ULONG_PTR*>(module + from->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++places) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                    continue;
                const auto* entry = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(module + names->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0)
                    return places;
            }
        }
        return nullptr;
    }

    ULONG_PTR Put(ULONG_PTR function) const
    {
        DWORD before = 0;
        VirtualProtect(m_place, sizeof(*m_place), PAGE_READWRITE, &before);
        const ULONG_PTR old = *m_place;
        *m_place = function;
        VirtualProtect(m_place, sizeof(*m_place), before, &before);
        return old;
    }

    ULONG_PTR* const m_place;
    const ULONG_PTR m_original;
};
