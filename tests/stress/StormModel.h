// Compares what a storm's watches have told with the disk and the index when it is
// quiet. It knows the selection by itself: folders that are selected with all that is
// in them, folders of which one ending is selected, folders that are not, and an ending that is not selected in the
// first folder.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class StormModel
{
public:
    void Include(const std::wstring& folder) { m_included.push_back(folder); }
    // Only files with the ending, however deep: folders have no entry of their own.
    void IncludeEnding(const std::wstring& folder, const std::wstring& ending) { m_endings[folder] = ending; }
    void Exclude(const std::wstring& folder) { m_excluded.push_back(folder); }

    // The records of one watch, in their order.
    void Take(const std::vector<nlohmann::json>& records);
    std::uint64_t HandedOut() const { return m_handedOut; }
    std::uint64_t Deleted() const { return m_deleted; }

    // One sentence for everything that is on the disk and was not handed out or recorded as it is, and for everything
    // that was handed out, is gone and was not recorded as deleted. Paths that are too long for a backup do not count.
    // The index is that of this path.
    std::vector<std::string> Lost(const std::wstring& index) const;

private:
    struct Found;

    bool IsSelected(const std::wstring& path) const;
    static std::vector<Found> ListOf(const std::wstring& folder);
    void Walk(const std::wstring& folder, std::vector<Found>& found) const;
    void WalkEnding(const std::wstring& folder, const std::wstring& ending, std::vector<Found>& found) const;
    void Judge(const Found& found, std::vector<std::string>& lost) const;

    std::vector<std::wstring> m_included;
    std::map<std::wstring, std::wstring> m_endings; // by folder
    std::vector<std::wstring> m_excluded;
    std::map<std::wstring, std::string> m_told; // by folded path: the time that was handed out last
    std::uint64_t m_handedOut = 0;
    std::uint64_t m_deleted = 0;
};
