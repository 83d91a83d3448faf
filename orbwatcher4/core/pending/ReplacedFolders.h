// Pending deletions of folders whose place something else has taken. The path has a pending change of its own then;
// what the index holds below the folder is still to be deleted, except what exists. Has no lock of its own; Count
// needs none.
#pragma once

#include "orbwatcher4/core/pending/Notification.h"
#include "support/Backslash.h"
#include "support/NoCaseKeys.h"

#include <atomic>
#include <map>

class ReplacedFolders
{
public:
    // By path, without a backslash at the end.
    using Deletions = std::map<CString, NotificationPtr, NoCase::Before>;

    const Deletions& All() const { return m_deletions; }
    std::int64_t Count() const { return m_count; }
    // Returns how many deletions were put here so far. Any thread.
    std::uint64_t DeletionsPut() const { return m_deletionsPut; }

    // Replaces an earlier deletion of the folder.
    void Put(const CString& folder, const NotificationPtr& deletion)
    {
        m_deletions[WithoutBackslash(folder)] = deletion;
        ++m_deletionsPut;
        Recount();
    }
    void Erase(const CString& folder)
    {
        m_deletions.erase(WithoutBackslash(folder));
        Recount();
    }
    // Erases this deletion, and leaves a newer one of the folder.
    void Erase(const CString& folder, const NotificationPtr& deletion)
    {
        const auto found = m_deletions.find(WithoutBackslash(folder));
        if (found != m_deletions.end() && found->second == deletion)
            m_deletions.erase(found);
        Recount();
    }
    void Clear()
    {
        m_deletions.clear();
        Recount();
    }

private:
    void Recount() { m_count = static_cast<std::int64_t>(m_deletions.size()); }

    Deletions m_deletions;
    std::atomic<std::int64_t> m_count{0};
    std::atomic<std::uint64_t> m_deletionsPut{0};
};
