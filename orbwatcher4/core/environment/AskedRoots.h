// The roots that one walk over many paths has asked, so that it asks each of them once. One thread.
//
// Drives come and go, so an answer is worth no more than the walk. The next walk may use it only to choose the order of
// its questions.
#pragma once

#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <optional>
#include <vector>

class AskedRoots
{
public:
    // Returns the answer that was noted for the root of the path; nothing when there is none. Asks nothing.
    std::optional<bool> IsUsable(const CString& path) const
    {
        const auto root = RootWith(path);
        return root == m_roots.end() ? std::nullopt : std::optional(root->usable);
    }
    // Returns the answer for the root of the path. `ask` finds it out when there is none yet.
    template <typename Ask>
    bool IsUsable(const CString& path, Ask ask)
    {
        const std::optional<bool> known = IsUsable(path);
        if (known)
            return *known;
        const bool usable = ask();
        Note(path, usable);
        return usable;
    }
    // Takes the answers of an earlier walk that a root is not usable, for roots that this walk has not asked.
    void TakeUnusable(const AskedRoots& earlier)
    {
        for (const Root& root : earlier.m_roots)
            if (!root.usable && !IsUsable(root.path))
                m_roots.push_back(root);
    }
    // Returns the roots that are not usable.
    std::vector<CString> Unusable() const
    {
        std::vector<CString> roots;
        for (const Root& root : m_roots)
            if (!root.usable)
                roots.push_back(root.path);
        return roots;
    }
    // Replaces an earlier answer. A path without a root is passed over.
    void Note(const CString& path, bool usable)
    {
        if (const auto known = RootWith(path); known != m_roots.end())
            m_roots[static_cast<std::size_t>(known - m_roots.begin())].usable = usable;
        else if (const CString root = RootOf(path); !root.IsEmpty())
            m_roots.push_back({root, usable});
    }

private:
    struct Root {
        CString path; // with a backslash at the end
        bool usable;
    };

    std::vector<Root>::const_iterator RootWith(const CString& path) const
    {
        return std::find_if(m_roots.begin(), m_roots.end(),
                            [&](const Root& root) { return BeginsNoCase(path.View(), root.path.View()); });
    }

    std::vector<Root> m_roots;
};
