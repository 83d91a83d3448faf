#include "orbwatcher4/filter/DiskNames.h"

#include "support/Handle.h"
#include "support/QuietErrors.h"
#include "support/SystemPath.h"

#include <windows.h>

CString DiskNames::NameOf(const CString& path)
{
    if (path.View().starts_with(L"\\\\"))
        return {};
    const auto [name, isNew] = m_known.try_emplace(path);
    if (isNew) {
        const QuietErrors quiet;
        WIN32_FIND_DATAW data;
        if (FindHandle(FindFirstFileW(SystemPath(path), &data)))
            name->second = data.cFileName;
    }
    return name->second;
}
