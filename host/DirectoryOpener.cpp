#include "host/DirectoryOpener.h"

#include "support/CaseFold.h"
#include "support/Handle.h"

#include <algorithm>

namespace
{

bool RunsUnderWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

bool IsDots(const std::wstring& name) { return name == L"." || name == L".."; }

// A watch of its own that ends at once makes Wine forget what it kept of the folder.
void Forget(const std::wstring& folder)
{
    const FileHandle directory(CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
    if (!directory)
        return;
    const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.Get();
    alignas(8) char buffer[64];
    if (!ReadDirectoryChangesW(directory.Get(), buffer, sizeof buffer, FALSE, FILE_NOTIFY_CHANGE_FILE_NAME, nullptr,
                               &overlapped, nullptr))
        return;
    CancelIoEx(directory.Get(), &overlapped);
    DWORD bytes = 0;
    GetOverlappedResult(directory.Get(), &overlapped, &bytes, TRUE);
}

// The folder itself, and the folders that are right in it.
std::vector<std::wstring> OpenOne(const std::wstring& folder, bool again)
{
    if (again)
        Forget(folder);
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

void OpenWayTo(const std::wstring& folder, std::size_t rootLength, bool again)
{
    // The root itself is watched.
    for (std::size_t slash = folder.find(L'\\', rootLength + 1); slash != std::wstring::npos;
         slash = folder.find(L'\\', slash + 1))
        OpenOne(folder.substr(0, slash + 1), again);
}

} // namespace

bool DirectoryOpener::Open(const std::vector<CString>& roots)
{
    static const bool wine = RunsUnderWine();
    if (wine)
        for (const CString& root : roots)
            if (std::find(m_opened.begin(), m_opened.end(), root) == m_opened.end())
                OpenRoot(root);
    const bool differ = m_opened != roots;
    m_opened = roots;
    return differ;
}

void DirectoryOpener::OpenRoot(const CString& root)
{
    const bool again = !m_everOpened.insert(root).second;
    for (const SelectionView::Folder& folder : m_folders) {
        if (!BeginsNoCase(folder.path, root.View()))
            continue;
        OpenWayTo(folder.path, static_cast<std::size_t>(root.GetLength()), again);
        if (folder.withSubfolders)
            OpenBelow(folder.path, again);
    }
}

void DirectoryOpener::OpenBelow(const std::wstring& top, bool again) const
{
    std::vector<std::wstring> waiting{top};
    while (!waiting.empty() && !m_stop()) {
        const std::wstring folder = std::move(waiting.back());
        waiting.pop_back();
        for (std::wstring& inside : OpenOne(folder, again))
            waiting.push_back(std::move(inside));
    }
}
