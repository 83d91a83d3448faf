// Counts the questions of the watcher for the attributes of one name.
#pragma once

#include "tests/support/ImportedCall.h"

#include <string>
#include <string_view>

class AttributeQuestions
{
public:
    explicit AttributeQuestions(const wchar_t* name)
    {
        s_name = name;
        s_asked = 0;
    }
    int Asked() const { return s_asked; }

private:
    static DWORD WINAPI Ask(const wchar_t* path)
    {
        s_asked += std::wstring_view(path).ends_with(s_name);
        return SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW")(path);
    }

    static inline std::wstring s_name;
    static inline int s_asked = 0;
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Ask};
};
