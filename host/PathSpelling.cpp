#include "host/PathSpelling.h"

#include "support/Handle.h"

namespace
{

std::wstring NameOnDisk(const std::wstring& path, const std::wstring& name)
{
    WIN32_FIND_DATAW data;
    return FindHandle(FindFirstFileW(path.c_str(), &data)) ? data.cFileName : name;
}

// A drive or a share, or its server.
bool IsRoot(const std::wstring& path)
{
    const std::size_t slash = path.rfind(L'\\');
    return slash == std::wstring::npos || path.find(L'\\', 2) == std::wstring::npos ||
           (path.starts_with(L"\\\\") && path.find(L'\\', 2) == slash);
}

std::wstring SpelledRoot(std::wstring root)
{
    if (root.size() == 2 && root[1] == L':')
        CharUpperBuffW(root.data(), 1);
    return root;
}

} // namespace

const std::wstring& PathSpelling::Of(const std::wstring& path)
{
    if (const auto known = m_known.find(path); known != m_known.end())
        return known->second;
    if (IsRoot(path))
        return m_known[path] = SpelledRoot(path);
    const std::size_t slash = path.rfind(L'\\');
    const std::wstring folder = Of(path.substr(0, slash));
    return m_known[path] = folder + L"\\" + NameOnDisk(path, path.substr(slash + 1));
}

std::wstring PathSpelling::NameOf(const std::wstring& path, const std::wstring& folder)
{
    return folder.empty() ? Of(path) : Of(path).substr(Of(folder).size() + 1);
}
