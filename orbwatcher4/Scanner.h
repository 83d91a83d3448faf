/// @file
/// Scanner: the size of a backup selection, before it is saved.
///
/// Make a scanner with the paths of the stored configuration, call Start once to scan every drive of it, edit the
/// selection, and call UpdateTotals after each edit: it recounts from the cache and does not walk the disk again. One
/// thread uses an object; meanwhile any other thread may call Stop, AbortUpdate and the functions that read the state.
/// No function reports an error: what cannot be read adds nothing, and the log says so. Operations do not throw; only
/// constructors and assignments throw std::bad_alloc. An edit that runs out of memory is logged, and may have made some
/// of its changes; a count that runs out of memory keeps what it has counted.
#pragma once

#include "orbwatcher4/Estimate.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/ScanProgress.h"
#include "orbwatcher4/core/environment/Signal.h"
#include "orbwatcher4/estimator/FSEntry.h"
#include "orbwatcher4/estimator/SpinFlag.h"
#include "support/HashMemory.h"

#include <sparsehash/dense_hash_map>

#include <atomic>
#include <functional>

class DriveScans;
class ScanTally;

/// The size of a selection. See the top of this file for the order of calls and for threads.
class ORBWATCHER4_API Scanner final : public SmartScanCaller
{
public:
    /// Makes a scanner without a configuration.
    Scanner();
    /// Makes a scanner with the selection file, the product's exclusions and the statistics of extensions; see
    /// SetBasicInfo.
    Scanner(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml);
    /// Makes a copy that works on the same cache and has the same two events: stopping one stops the other. Waits for
    /// the scans that Start has left running in `other`. Of objects with one cache, only one may be used at a time.
    Scanner(const Scanner& other);
    /// Ends its own scans, then copies as the constructor does. Assigned to itself, it stays as it is.
    Scanner& operator=(const Scanner& other);
    /// Ends the scans that are running, and waits for them.
    ~Scanner();

    /// Sets the three paths. Null leaves a path as it is.
    void SetBasicInfo(const wchar_t* dataXml, const wchar_t* autoExcludeXml, const wchar_t* statsXml);
    /// Sets whether edits and ScanPath go into hidden folders. Start never does; hidden files always count.
    void IncludeHidden(bool include) { m_includeHidden = include; }
    /// Sets the prices, which are kept in single precision; costs are always 0.
    void SetPrice(double first, double second);

    // --- Editing the selection. A path that ends in a backslash is a folder, any other a single file. An edit scans a
    // path that is not yet in the cache at once, on the calling thread; a folder counts as cached when anything of it
    // was met (ScanPath fills it). A rule that is not recursive covers the folder itself alone: none of its files
    // counts. ---

    /// Includes one path.
    void AddPath(const wchar_t* path, bool recursive);
    /// Includes several paths.
    void AddPath(std::vector<CString> paths, bool recursive);
    /// Excludes one path.
    void RemovePath(const wchar_t* path, bool recursive);
    /// Excludes several paths.
    void RemovePath(std::vector<CString> paths, bool recursive);
    /// Adds all rules of a profile, as Start has read them.
    void AddProfile(int profile);
    /// Adds the rules of several profiles.
    void AddProfile(const std::vector<int>& profiles);
    /// Removes the rules of a profile.
    void RemoveProfile(int profile);
    /// Removes the rules of several profiles.
    void RemoveProfile(const std::vector<int>& profiles);
    /// Replaces the stored rules of the profile by includes of these folders, with this mask.
    void EditProfile(int profile, const wchar_t* mask, const std::vector<CString>& paths);
    /// Sets the endings, separated by ";", that folders leave out when they are added from now on. Empty: none.
    void SetFileFolderFilter(const wchar_t* mask);
    /// Sets the folder that backups go to, which no scan enters. Call it before Start. Null means none.
    void SetDestination(const wchar_t* folder);
    /// Sets the product's databases and other files that no backup holds. Call it before Start.
    void SetOwnFiles(const std::vector<CString>& databases, const std::vector<CString>& files);

    // --- Counting. ---

    /// Reads the configuration and scans all its drives at the same time. The totals are zero afterwards. With more
    /// than 64 drives, or when the system refuses a thread, it returns while scans are running; the next function that
    /// needs the cache waits for them.
    void Start();
    /// Ends the scans and a recount. No later Start scans anything.
    void Stop();
    /// Counts the cached files that the selection includes.
    void UpdateTotals();
    /// Ends a recount; the totals keep what it has counted.
    void AbortUpdate();
    /// Returns a flag that UpdateTotals and edits that scan set, and that only UpdateTotals clears.
    bool IsCalculating() const { return m_calculating; }
    double GetTotalCost() const { return m_totalCost; } ///< always 0
    /// Returns the total size in bytes, as counted so far.
    double GetTotalSize() const { return static_cast<double>(m_totalSize.load()); }

    // --- Callbacks of the walks. ---

    /// Adds a file that a walk has found to the cache, and to the running totals.
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    /// Lets the walk go on.
    bool ProgressCallback() override { return true; }
    /// Does nothing: folders count by their files.
    void FolderFoundCallback(const wchar_t*) override {}

    // --- Additions, for programs that show an estimate. ---

    /// Walks one folder or file, whatever the cache holds of it. Returns false when Stop ended the walk, or memory ran
    /// out.
    bool ScanPath(const wchar_t* path, bool recursive);
    /// Waits until the scans have ended that Start has left running.
    void WaitForScans();
    /// Returns the progress of the scans. Cheap; any thread.
    ScanProgress GetScanProgress() const;
    /// Returns the paths that the scans did not go into, and why: each path once.
    std::vector<PassedOverPath> GetPassedOver() const;
    /// Returns the selection's decision on any path. `deciding`, when given, receives the rule that decided, or null.
    InclusionType Judge(const wchar_t* path, FilterPtr* deciding);
    /// Passes each cached file to `take`; the totals do not change. Returns false when AbortUpdate or Stop ended it.
    bool ForEachFile(const std::function<void(const JudgedFile&)>& take);
    /// Returns the sums by folder, by extension, and by the rule that leaves files out.
    Estimate GetEstimate();

private:
    friend class ScannerAccess; // tests

    using ProfileRates =
        google::dense_hash_map<std::int32_t, double, std::hash<std::int32_t>, std::equal_to<std::int32_t>,
                               HashMemory<std::pair<const std::int32_t, double>>>;
    // The changes of the rules for one path.
    struct Edit {
        FilterList outdated;
        bool known = false; // this very rule is there: nothing is to be done
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
    // Prepares a recount. Returns false when it was aborted during the wait for scans.
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
    std::shared_ptr<SpinFlag> m_cacheLock; // shared together with the cache
    SpinFlag m_totalsLock{L"estimate's totals"};
    std::shared_ptr<CSignal> m_abortEvent;
    std::shared_ptr<CSignal> m_stopEvent;
    std::shared_ptr<ScanTally> m_tally; // shared together with the cache
    std::unique_ptr<DriveScans> m_scans;
};
