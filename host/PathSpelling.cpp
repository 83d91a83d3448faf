#include "host/PathSpelling.h"

#include "support/Handle.h"

#include <algorithm>

namespace
{

std::wstring Spelled(const std::wstring& path)
{
    WIN32_FIND_DATAW data;
    if (FindHandle(FindFirstFileW(path.c_str(), &data)))
        return data.cFileName;
    return path.substr(path.rfind(L'\\') + 1);
}

} // namespace

std::wstring PathSpelling::NameOf(const std::wstring& path, const std::wstring& folder) const
{
    std::wstring name;
    // Begins with the last component and ends at the folder, a drive or a share.
    std::wstring rest = path;
    while (rest.size() > folder.size() && rest.find(L'\\', 2) != std::wstring::npos) {
        name.insert(0, name.empty() ? Spelled(rest) : Spelled(rest) + L"\\");
        rest.resize(rest.rfind(L'\\'));
    }
    if (rest.size() <= folder.size())
        return name;
    if (rest.size() == 2 && rest[1] == L':')
        CharUpperBuffW(rest.data(), 1);
    return name.empty() ? rest : rest + L"\\" + name;
}
