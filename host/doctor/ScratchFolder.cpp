#include "host/doctor/ScratchFolder.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"

#include <filesystem>
#include <system_error>

namespace
{

constexpr const wchar_t* Variable = L"ORB_DATA_FOLDER";

} // namespace

ScratchFolder::ScratchFolder() : m_dataFolder(DataFolder::Environment(Variable))
{
    wchar_t temporary[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, temporary);
    m_path = std::wstring(temporary) + L"orbwatch-doctor-" + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(m_path.c_str(), nullptr);
    SetEnvironmentVariableW(Variable, m_path.c_str());
}

ScratchFolder::~ScratchFolder()
{
    g_OrbLog.Close();
    SetEnvironmentVariableW(Variable, m_dataFolder.empty() ? nullptr : m_dataFolder.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}
