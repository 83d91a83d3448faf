// A DLL that a user has put where a program with the highest rights may search for it, and the linker's protection
// against attacks on memory.
#include "host/OwnLibraries.h"
#include "tests/security/ProgramFile.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace
{

// The system takes these from its own folder only, whatever is beside the program.
const std::set<std::string> OfTheSystem = {"advapi32.dll", "gdi32.dll",   "kernel32.dll", "msvcrt.dll",
                                           "ntdll.dll",    "shell32.dll", "shlwapi.dll",  "user32.dll"};

std::wstring OwnFolder()
{
    std::array<wchar_t, 1024> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).parent_path().wstring();
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char unit) { return static_cast<char>(std::tolower(static_cast<unsigned char>(unit))); });
    return text;
}

// The program, the library, and all libraries that they need, by name.
class Libraries : public testing::Test
{
protected:
    Libraries()
    {
        Add("orbwatch.exe");
        Add("OrbWatcher4.dll");
    }

    std::map<std::string, ProgramFile> shipped;
    std::set<std::string> missing; // neither beside the program nor the system's

private:
    void Add(const std::string& name)
    {
        const std::filesystem::path path = std::filesystem::path(OwnFolder()) / name;
        if (shipped.contains(Lower(name)) || OfTheSystem.contains(Lower(name)))
            return;
        if (!std::filesystem::exists(path)) {
            missing.insert(name);
            return;
        }
        const auto place = shipped.emplace(Lower(name), path.wstring()).first;
        for (const ProgramFile::Import& import : place->second.Imports())
            Add(import.library);
    }
};

TEST_F(Libraries, AreAllBesideTheProgramOrTheSystemsOwn)
{
    EXPECT_TRUE(missing.empty()) << *missing.begin();
    EXPECT_TRUE(shipped.contains("orbsettings.dll"));
    EXPECT_TRUE(shipped.contains("libstdc++-6.dll"));
}

TEST_F(Libraries, LoadNoOthersWhileTheyRun)
{
    for (const auto& [name, file] : shipped) {
        EXPECT_FALSE(file.LoadsLate()) << name;
        // The compiler's own library asks for two that the system takes from its own folder only: advapi32 and msvcrt.
        if (name == "libstdc++-6.dll")
            continue;
        for (const ProgramFile::Import& import : file.Imports())
            for (const std::string& function : import.functions)
                EXPECT_FALSE(function.starts_with("LoadLibrary")) << name;
    }
}

TEST_F(Libraries, LieAtAddressesThatCannotBeForeseenAndRunNoData)
{
    constexpr WORD wanted = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                            IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    for (const auto& [name, file] : shipped) {
        EXPECT_EQ(file.Flags() & wanted, wanted) << name;
        EXPECT_TRUE(file.HasRelocations()) << name << " cannot be moved without";
    }
}

class Library
{
public:
    explicit Library(const wchar_t* name) : m_module(LoadLibraryW(name)) {}
    ~Library()
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    explicit operator bool() const { return m_module != nullptr; }

private:
    const HMODULE m_module;
};

class PlantedLibrary : public testing::Test
{
protected:
    PlantedLibrary()
    {
        std::filesystem::copy_file(OwnFolder() + L"\\ReadersWriters.dll", folder.Path(L"planted.dll").GetString());
        std::filesystem::current_path(folder.Path().GetString());
    }
    ~PlantedLibrary() override
    {
        std::filesystem::current_path(m_before);
        SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS); // the process cannot go back further
    }

    const TempFolder folder;

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
};

TEST_F(PlantedLibrary, InTheCurrentFolderIsNotLoaded)
{
    ASSERT_TRUE(UseOwnLibrariesOnly());
    EXPECT_FALSE(Library(L"planted.dll"));
    EXPECT_TRUE(Library(L"ReadersWriters.dll")) << "beside the program";
}

TEST_F(Libraries, AreLookedForInTheirOwnFoldersByTheProgram)
{
    bool called = false;
    for (const ProgramFile::Import& import : shipped.at("orbwatch.exe").Imports())
        called = called || std::ranges::count(import.functions, "SetDefaultDllDirectories") != 0;
    EXPECT_TRUE(called);
}

} // namespace
