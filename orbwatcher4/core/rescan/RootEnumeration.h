// Enumerates roots on the calling thread. Any thread; several threads may enumerate different roots.
#pragma once

#include "orbwatcher4/core/rescan/FoundFiles.h"

#include <functional>
#include <vector>

class RootEnumeration
{
public:
    // isBeingRemoved: returns true for a root that must not be used any more. It and the parts must outlive the object.
    RootEnumeration(const EnumerationParts& parts, std::function<bool(const CString& root)> isBeingRemoved);

    // Enumerates every root of the selection. A root that is away, or could not be enumerated whole, is due for a
    // rescan.
    void EnumerateAll();
    // Enumerates one root; when it is away, a rescan is due. Returns false when it was aborted or failed.
    bool EnumerateOne(const CString& root);

    // Enumerates what the rules of the drive include, or, without checkRules, all of it, with the rights of the user.
    // Returns false when that was aborted or failed.
    bool Enumerate(const wchar_t* drive, const wchar_t* pattern, bool checkRules) noexcept;
    bool EnumerateSelected(const wchar_t* drive) noexcept;

    FoundFiles& Found() { return m_found; }
    const FoundFiles& Found() const { return m_found; }

private:
    bool EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules);
    void ReportVanished(const std::vector<UnmetPaths::Search>& searches);
    bool MayBeWalked(const CString& root) const;
    void LeaveOut(const CString& root);

    const EnumerationParts m;
    const std::function<bool(const CString& root)> m_isBeingRemoved;
    FoundFiles m_found;
};
