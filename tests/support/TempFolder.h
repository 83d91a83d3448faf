// A folder of a test's own, which is gone with the object. Names are relative to it.
// It needs no Windows call, so that portable tests use it natively as well.
#pragma once

#include "mfc/CString.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

class TempFolder
{
public:
    TempFolder() : m_folder(MakeFolder()) {}
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    CString Path(const wchar_t* name = L"") const { return CString(std::wstring_view((m_folder / name).wstring())); }

    void WriteBytes(const wchar_t* name, const std::string& bytes) const
    {
        std::filesystem::create_directories((m_folder / name).parent_path());
        std::ofstream file(m_folder / name, std::ios::binary | std::ios::trunc);
        file << bytes;
        if (!file.flush())
            throw std::runtime_error("a test file could not be written");
    }

    std::string ReadBytes(const wchar_t* name) const
    {
        std::ifstream file(m_folder / name, std::ios::binary);
        if (!file)
            throw std::runtime_error("a test file could not be read");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    // Test programs run at the same time, so a taken name is tried again.
    static std::filesystem::path MakeFolder()
    {
        static std::atomic<unsigned> counter = 0;
        const auto base = std::filesystem::temp_directory_path();
        for (int attempt = 0; attempt < 1000; ++attempt) {
            const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
            const auto folder = base / ("orb-test-" + std::to_string(ticks) + "-" + std::to_string(counter++));
            if (std::filesystem::create_directory(folder))
                return folder;
        }
        throw std::runtime_error("no temporary folder could be made");
    }

    std::filesystem::path m_folder;
};
