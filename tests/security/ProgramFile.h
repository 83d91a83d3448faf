// A program or DLL on the disk, read without being loaded.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
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
        for (std::size_t place = PlaceOf(table);; place += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
            const auto entry = Read<IMAGE_IMPORT_DESCRIPTOR>(place);
            if (!entry.Name)
                return imports;
            imports.push_back({TextAt(PlaceOf(entry.Name)), FunctionsOf(entry)});
        }
    }

private:
    // Copied: in the file nothing need lie where its type may.
    template <typename Type>
    Type Read(std::size_t place) const
    {
        if (place + sizeof(Type) > m_bytes.size())
            throw std::runtime_error("a program file is cut short");
        Type read;
        std::memcpy(&read, m_bytes.data() + place, sizeof read);
        return read;
    }
    std::string TextAt(std::size_t place) const
    {
        const auto begin = m_bytes.begin() + static_cast<std::ptrdiff_t>(place);
        return {begin, std::find(begin, m_bytes.end(), '\0')};
    }
    std::size_t HeaderPlace() const { return static_cast<std::size_t>(Read<IMAGE_DOS_HEADER>(0).e_lfanew); }
    IMAGE_NT_HEADERS64 Header() const { return Read<IMAGE_NT_HEADERS64>(HeaderPlace()); }
    IMAGE_DATA_DIRECTORY Directory(int which) const { return Header().OptionalHeader.DataDirectory[which]; }
    // Returns the place in the file of an address of the loaded image.
    std::size_t PlaceOf(DWORD address) const
    {
        const IMAGE_NT_HEADERS64 header = Header();
        std::size_t place =
            HeaderPlace() + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + header.FileHeader.SizeOfOptionalHeader;
        for (WORD i = 0; i < header.FileHeader.NumberOfSections; ++i, place += sizeof(IMAGE_SECTION_HEADER)) {
            const auto section = Read<IMAGE_SECTION_HEADER>(place);
            if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
                return section.PointerToRawData + (address - section.VirtualAddress);
        }
        throw std::runtime_error("an address lies in no section");
    }
    std::vector<std::string> FunctionsOf(const IMAGE_IMPORT_DESCRIPTOR& entry) const
    {
        std::vector<std::string> functions;
        for (std::size_t place = PlaceOf(entry.OriginalFirstThunk);; place += sizeof(IMAGE_THUNK_DATA)) {
            const auto thunk = Read<IMAGE_THUNK_DATA>(place);
            if (!thunk.u1.AddressOfData)
                return functions;
            if (!IMAGE_SNAP_BY_ORDINAL(thunk.u1.Ordinal))
                functions.push_back(
                    TextAt(PlaceOf(static_cast<DWORD>(thunk.u1.AddressOfData)) + offsetof(IMAGE_IMPORT_BY_NAME, Name)));
        }
    }

    std::vector<char> m_bytes;
};
