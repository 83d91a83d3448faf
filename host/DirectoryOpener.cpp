#include "host/DirectoryOpener.h"

#include "support/CaseFold.h"
#include "support/Handle.h"

#include <algorithm>

namespace
{

bool RunsUnderWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

bool IsDots(const std::wstring& name) { return name == L"." || name == L".."; }

// The folder itself, and the folders that are right in it.
std::vector<std::wstring> OpenOne(const std::wstring& folder)
{
    std::vector<std::wstring> inside;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW((folder + L"*").c_str(), &data));
    if (!search)
        return inside;
    do {
        const bool entered = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
                             !(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && !IsDots(data.cFileName);
        if (entered)
            inside.push_back(folder + data.cFileName + L"\\");
    } while (FindNextFileW(search.Get(), &data));
    return inside;
}

void OpenWayTo(const std::wstring& folder, std::size_t rootLength)
{
    for (std::size_t slash = folder.find(L'\\', rootLength - 1); slash != std::wstring::npos;
         slash = folder.find(L'\\', slash + 1))
        OpenOne(folder.substr(0, slash + 1));
}

void OpenBelow(const std::wstring& top)
{
    std::vector<std::wstring> waiting{top};
    while (!waiting.empty()) {
        const std::wstring folder = std::move(waiting.back());
        waiting.pop_back();
        for (std::wstring& inside : OpenOne(folder))
            waiting.push_back(std::move(inside));
    }
}

} // namespace

bool DirectoryOpener::Open(const std::vector<CString>& roots)
{
    static const bool wine = RunsUnderWine();
    for (const CString& root : roots) {
        if (std::find(m_opened.begin(), m_opened.end(), root) != m_opened.end())
            continue;
        for (const std::wstring& folder : m_folders)
            if (wine && BeginsNoCase(folder, root.View())) {
                OpenWayTo(folder, static_cast<std::size_t>(root.GetLength()));
                OpenBelow(folder);
            }
    }
    const bool differ = m_opened != roots;
    m_opened = roots;
    return differ;
}
