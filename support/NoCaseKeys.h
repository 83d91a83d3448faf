// Compares keys of containers without regard to case (CaseFold.h). A key may be any form of text. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/CaseFold.h"

namespace NoCase
{

inline std::wstring_view View(const CString& text) { return text.View(); }
inline std::wstring_view View(const wchar_t* text) { return text; }
inline std::wstring_view View(std::wstring_view text) { return text; }

struct Before {
    using is_transparent = void;
    template <typename Left, typename Right>
    bool operator()(const Left& left, const Right& right) const
    {
        return CompareNoCase(View(left), View(right)) < 0;
    }
};

struct Hash {
    template <typename Text>
    std::size_t operator()(const Text& text) const
    {
        return HashNoCase(View(text));
    }
};

struct Equal {
    template <typename Text>
    bool operator()(const Text& left, const Text& right) const
    {
        return EqualNoCase(View(left), View(right));
    }
};

} // namespace NoCase
