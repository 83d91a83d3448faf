#include "companions/indexdb/IndexExamination.h"
#include "host/IndexAdvice.h"
#include "host/doctor/Checks.h"

#include <windows.h>

Checks CheckIndex(const std::wstring& index, std::int64_t& folders)
{
    if (GetFileAttributesW(index.c_str()) == INVALID_FILE_ATTRIBUTES)
        return {{"index", Check::State::Warning, L"not there; the first watch makes it, and everything counts as new",
                 index}};
    const IndexExamination found = ExamineIndex(index.c_str());
    folders = found.folders;
    if (found.error != CIndexDB::Error::None)
        return {{"index", Check::State::Failed, std::wstring(found.text.GetString()) + L"; " + IndexAdvice(found.error),
                 index}};
    return {{"index", Check::State::Ok,
             L"whole; holds " + std::to_wstring(found.items) + L" items, " + std::to_wstring(found.folders) +
                 L" of them folders",
             index}};
}
