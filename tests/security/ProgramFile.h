// A program or DLL on the disk, read without being loaded.
#pragma once

#include <windows.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

class ProgramFile
{
public:
    explicit ProgramFile(const std::wstring& path)
    {
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, 0, nullptr);
        LARGE_INTEGER size = {};
        DWORD read = 0;
        if (file != INVALID_HANDLE_VALUE && GetFileSizeEx(file, &size)) {
            m_bytes.resize(static_cast<std::size_t>(size.QuadPart));
            ReadFile(file, m_bytes.data(), static_cast<DWORD>(m_bytes.size()), &read, nullptr);
        }
        CloseHandle(file);
        if (read == 0 || read != m_bytes.size())
            throw std::runtime_error("a program file could not be read");
    }

    WORD Flags() const { return Header().OptionalHeader.DllCharacteristics; }
    bool HasRelocations() const { return Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size != 0; }
    bool LoadsLate() const { return Directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT).Size != 0; }

    struct Import {
        std::string library;
        std::vector<std::string> functions;
    };
    std::vector<Import> Imports() const
    {
        std::vector<Import> imports;
        const DWORD table = Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress;
        for (const auto* entry = At<IMAGE_IMPORT_DESCRIPTOR>(table); entry->Name; ++entry) {
            Import import{At<char>(entry->Name), {}};
            for (const auto* thunk = At<IMAGE_THUNK_DATA>(entry->OriginalFirstThunk); thunk->u1.AddressOfData; ++thunk)
                if (!IMAGE_SNAP_BY_ORDINAL(thunk->u1.Ordinal))
                    import.functions.emplace_back(reinterpret_cast<const char*>(
                        At<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(thunk->u1.AddressOfData))->Name));
            imports.push_back(std::move(import));
        }
        return imports;
    }

private:
    template <typename Type>
    const Type* Raw(std::size_t offset) const
    {
        if (offset + sizeof(Type) > m_bytes.size())
            throw std::runtime_error("a program file is cut short");
        return reinterpret_cast<const Type*>(m_bytes.data() + offset);
    }
    const IMAGE_NT_HEADERS64& Header() const
    {
        return *Raw<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(Raw<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }
    const IMAGE_DATA_DIRECTORY& Directory(int which) const { return Header().OptionalHeader.DataDirectory[which]; }
    // Returns the data at this address of the loaded image.
    template <typename Type>
    const Type* At(DWORD address) const
    {
        const IMAGE_NT_HEADERS64& header = Header();
        const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(&header);
        for (WORD i = 0; i < header.FileHeader.NumberOfSections; ++i, ++section)
            if (address >= section->VirtualAddress && address - section->VirtualAddress < section->SizeOfRawData)
                return Raw<Type>(section->PointerToRawData + (address - section->VirtualAddress));
        throw std::runtime_error("an address lies in no section");
    }

    std::vector<char> m_bytes;
};
