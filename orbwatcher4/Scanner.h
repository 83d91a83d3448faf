/// @file
/// Scanner: how large a backup selection is, before it is saved.
///
/// Make one with the paths of the stored configuration, Start it once to scan
/// every drive of it, edit the selection, and call UpdateTotals after each edit:
/// it recounts from the cache and does not walk the disk again. One thread uses
/// an object; Stop, AbortUpdate and what reads the state may be called from any
/// other meanwhile. Nothing reports an error: what cannot be read adds nothing,
/// and the log says so. No exception leaves an operation; only constructing and
/// assigning throw std::bad_alloc. An edit that runs out of memory is logged, and may
/// have made some of its changes; a count that does so holds what was counted.
#pragma once

#include "orbwatcher4/Estimate.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/ScanProgress.h"
#include "orbwatcher4/core/Signal.h"
#include "orbwatcher4/estimator/FSEntry.h"
#include "orbwatcher4/estimator/SpinFlag.h"
#include "support/HashMemory.h"

#include <sparsehash/dense_hash_map>

#include <atomic>
#include <functional>

class DriveScans;
class ScanTally;

/// How large a selection is. See the top of this file for the order of calls and for threads.
class ORBWATCHER4_API Scanner final : public SmartScanCaller
{
public:
    /// No configuration yet.
    Scanner();
    /// The selection file, the product's exclusions and the statistics of extensions; see SetBasicInfo.
    Scanner(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml);
    /// A copy works on the same cache and has the same two events: stopping one stops the other. Scans that the source
    /// has left going on are waited for. Of objects with one cache, only one may be used at a time.
    Scanner(const Scanner& other);
    /// As copying.
    Scanner& operator=(const Scanner& other);
    /// Ends scans that are going on, and waits for them.
    ~Scanner();

    /// Null leaves a path as it is.
    void SetBasicInfo(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml);
    /// Whether AddPath goes into hidden folders. Start never does; hidden files count always.
    void IncludeHidden(bool include) { m_includeHidden = include; }
    /// Kept in single precision; costs are always 0.
    void SetPrice(double first, double second);

    // --- Editing the selection. A path that ends in a backslash is a folder, any other a single file. What is not in
    // the cache yet is scanned at once, on the calling thread; a folder of which anything was met counts as cached
    // (ScanPath fills it). A rule that is not recursive speaks of the folder itself alone: none of its files
    // counts. ---

    /// Includes one path.
    void AddPath(const wchar_t* path, bool recursive);
    /// Includes several.
    void AddPath(std::vector<CString> paths, bool recursive);
    /// Excludes one path.
    void RemovePath(const wchar_t* path, bool recursive);
    /// Excludes several.
    void RemovePath(std::vector<CString> paths, bool recursive);
    /// All rules of a profile, as Start has read them.
    void AddProfile(int profile);
    /// The same for several profiles.
    void AddProfile(const std::vector<int>& profiles);
    /// The rules of a profile go.
    void RemoveProfile(int profile);
    /// The same for several profiles.
    void RemoveProfile(const std::vector<int>& profiles);
    /// The stored rules of the profile give way to these folders, with this mask.
    void EditProfile(int profile, const wchar_t* mask, const std::vector<CString>& paths);
    /// What folders that are added from now on leave out: endings, separated by ";". Empty: nothing.
    void SetFileFolderFilter(const wchar_t* mask);

    // --- Counting. ---

    /// Reads the configuration and scans its drives, all at once. The totals are zero afterwards. With more than 64
    /// drives, or when the system refuses a thread, it returns while the scans go on; whatever needs the cache next
    /// waits for them.
    void Start();
    /// Ends the scans and a recount. No later Start scans anything.
    void Stop();
    /// Counts what the selection includes of the cache.
    void UpdateTotals();
    /// Ends a recount; the totals stay at what it has counted.
    void AbortUpdate();
    /// Set by UpdateTotals and by edits that scan; cleared by UpdateTotals alone.
    bool IsCalculating() const { return m_calculating; }
    double GetTotalCost() const { return m_totalCost; } ///< always 0
    /// In bytes, as the last count has it.
    double GetTotalSize() const { return static_cast<double>(m_totalSize.load()); }

    // --- Told by the walks. ---

    /// A file that a walk has found goes into the cache.
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    /// Goes on.
    bool ProgressCallback() override { return true; }
    /// Folders count by their files.
    void FolderFoundCallback(const wchar_t*) override {}

    // --- Additions, for those who show an estimate to somebody. ---

    /// Walks one folder or file whatever the cache holds of it. Stop ends it, and false says that it did.
    bool ScanPath(const wchar_t* path, bool recursive);
    /// Until the scans have ended that Start has left going on.
    void WaitForScans();
    /// How the scans go. Cheap; any thread.
    ScanProgress GetScanProgress() const;
    /// What the scans have not gone into, and why: each path once.
    std::vector<PassedOverPath> GetPassedOver() const;
    /// What the selection says of any path, and the rule that settles it.
    InclusionType Judge(const wchar_t* path, FilterPtr* deciding);
    /// Hands on each cached file; totals stay as they are. False when AbortUpdate or Stop has ended it.
    bool ForEachFile(const std::function<void(const JudgedFile&)>& take);
    /// Sums by folder, by extension, and by the rule that leaves something out.
    Estimate GetEstimate();

private:
    friend class ScannerAccess; // tests

    using ProfileRates =
        google::dense_hash_map<std::int32_t, double, std::hash<std::int32_t>, std::equal_to<std::int32_t>,
                               HashMemory<std::pair<const std::int32_t, double>>>;
    // What one path changes in the rules.
    struct Edit {
        FilterList outdated;
        bool known = false; // the very rule is there: nothing is to be done
        bool add = true;
    };

    void Initialize();
    void LoadXmlFilters();
    void LoadExtensionsMap();
    void LoadProfileStats();
    void SetPath(int profile, const wchar_t* path, const wchar_t* mask, bool include, bool recursive);
    void SetPath(int profile, std::vector<CString> paths, const wchar_t* mask, bool include, bool recursive);
    Edit PlanEdit(const Filter& rule) const;
    FilterPtr GenerateExcludeRules(FilterPtr rule) const;
    void ScanUncached(const CString& path, bool recursive);
    FilterList RulesOfProfiles(const std::vector<int>& profiles) const;
    void UpdateTotals(const std::shared_ptr<const FSEntrySet>& set, const wchar_t* parentPath);
    double GetEntryCost(const FSEntry& entry);
    void ClearTotals();
    FSEntry AddToCache(const wchar_t* path, std::uint64_t size);
    void Count(const FSEntry& entry);
    JudgedFile JudgeEntry(const CString& path, const FSEntry& entry);
    // Before a recount; false when it was aborted while scans were waited for.
    bool PrepareRecount();
    bool IsAborted() const;

    CString m_dataXmlPath;
    CString m_autoExcludeXmlPath;
    CString m_statsXmlPath;
    CString m_fileFolderFilter; // the mask of the companion exclusions
    ProfileRates m_profileRates;
    ExtensionMap m_extensionMap;
    FSEntrySetPtr m_entryCache; // guarded by m_cacheLock while scans go on; shared by copies
    float m_defaultRatio = 0;
    float m_firstPrice = 0;
    float m_secondPrice = 0;
    OrbFilter m_allFilters; // the stored configuration, every profile
    OrbFilter m_selection;
    std::atomic<double> m_totalCost{0};           // changed under m_totalsLock
    std::atomic<unsigned __int64> m_totalSize{0}; // changed under m_totalsLock
    std::atomic<bool> m_calculating{false};
    bool m_includeHidden = false;
    std::shared_ptr<SpinFlag> m_cacheLock; // goes with the cache
    SpinFlag m_totalsLock{L"estimate's totals"};
    std::shared_ptr<CSignal> m_abortEvent;
    std::shared_ptr<CSignal> m_stopEvent;
    std::shared_ptr<ScanTally> m_tally; // goes with the cache
    std::unique_ptr<DriveScans> m_scans;
};
