#include "OrbFileMonitorService/OverlayNames.h"

#include "companions/settings/OrbSettings.h"

OverlayNames OverlayNames::OfThisInstallation()
{
    const CMainSettings& settings = GetMainSettings();
    return {settings.GetMainSettingsMutex(L"mutexs::OVERLAY_REQUEST_MUTEX"),
            settings.GetMainSettingsMutex(L"mutexs::OVERLAY_RESPONSE_MUTEX"),
            settings.GetMainSettingsMutex(L"mutexs::OVERLAY_TOKEN_MUTEX"),
            settings.GetMainSettingsMutex(L"mutexs::OVERLAY_MEMMAP")};
}
