#include "companions/indexdb/IndexExamination.h"
#include "host/Console.h"
#include "host/IndexAdvice.h"
#include "host/doctor/Checks.h"
#include "host/doctor/Probe.h"

#include <windows.h>

Checks CheckIndex(const std::wstring& index, std::int64_t& folders)
{
    const Subject about{"index", index};
    const std::wstring folder = index.substr(0, index.rfind(L'\\') + 1);
    const DWORD folderError = WhyNothingCanBeMade(folder);
    if (GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES)
        return {about.Failed(L"its folder is not there; make it, or name another index")};
    if (folderError != ERROR_SUCCESS)
        return {about.Failed(L"nothing can be written beside it: " + SystemText(folderError) +
                             L" Make its folder writable.")};
    if (GetFileAttributesW(index.c_str()) == INVALID_FILE_ATTRIBUTES)
        return {about.Warning(L"not there; the first watch makes it, and everything counts as new")};
    if (IsEmptyFile(index))
        return {about.Warning(L"an empty file; the next watch makes the index anew, and everything counts as new")};
    const IndexExamination found = ExamineIndex(index.c_str());
    folders = found.folders;
    if (found.error == CIndexDB::Error::Corrupt && found.isIndex)
        return {{"index", Check::State::Failed,
                 L"damaged: " + std::wstring(found.text.GetString()) +
                     L"; move it away to start anew: the next watch makes another one and looks at everything again",
                 index}};
    if (found.error != CIndexDB::Error::None)
        return {about.Failed(std::wstring(found.text.GetString()) + L"; " + IndexAdvice(found.error))};
    if (const DWORD error = WhyNotWritable(index))
        return {about.Failed(L"can be read and not written: " + SystemText(error) +
                             L" Neither backups nor deletions can be recorded in it; make it writable.")};
    if (found.lacksMemory)
        return {about.Ok(
            L"its write-ahead log has lost its shared memory; the next start makes that again, and nothing is lost. "
            L"The items were not counted")};
    return {about.Ok(L"whole; holds " + std::to_wstring(found.items) + L" items, " + std::to_wstring(found.folders) +
                     L" of them folders")};
}
