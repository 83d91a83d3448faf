#include "orbwatcher4/core/environment/BackupRunning.h"

#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "support/Handle.h"

bool IsBackupRunning() noexcept
{
    bool running = false;
    Completes(L"IsBackupRunning", [&] {
        constexpr DWORD backupMutexAccess = 0x1F0003; // as services that make the mutex expect it to be opened
        const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START");
        running = static_cast<bool>(KernelHandle(OpenMutexW(backupMutexAccess, FALSE, name)));
    });
    return running;
}
