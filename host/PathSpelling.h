// The names of folders as the disk spells them; an estimate has them in lower case. One thread.
#pragma once

#include <map>
#include <string>

class PathSpelling
{
public:
    // Returns the path of a folder, without a trailing backslash, as the disk spells it. A name that the disk does not
    // have is returned as given. Each name is asked for once.
    const std::wstring& Of(const std::wstring& path);
    // Returns what the path adds to that of a folder that contains it; the whole path when `folder` is empty.
    std::wstring NameOf(const std::wstring& path, const std::wstring& folder);

private:
    std::map<std::wstring, std::wstring> m_known;
};
