/// @file
/// OrbFilter: the backup selection.
///
/// It holds the rules, which it reads from XML files and groups by drive, and decides whether a path is selected. The
/// rule maps have no lock of their own: loading and editing must not overlap checks, and checks on one object must not
/// overlap each other (a check may add an empty entry for a drive). The memory of walks (WalkMemory) has a lock of its
/// own and may be used from any thread.
///
/// Operations do not throw; only constructors and assignments throw std::bad_alloc. An operation that runs out of
/// memory logs that and changes nothing. Its result errs to the safe side: loading, adding, removing and walking return
/// false; a check returns that the path is included, because a backup that holds too much loses nothing; a list is
/// empty. An exception of a caller's callback ends a walk in the same way. Inside the watcher such an operation fails
/// as a whole instead.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/Export.h"
#include "orbwatcher4/ExtProperties.h"
#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/KeptOutPaths.h"
#include "orbwatcher4/filter/RuleFinding.h"
#include "orbwatcher4/filter/RuleSet.h"
#include "orbwatcher4/filter/ScanLists.h"
#include "orbwatcher4/filter/WalkMemory.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

class CMarkup;
class OverlayCache;
class WalkObserver;

/// The order of roots: without regard to case, in every alphabet.
struct ORBWATCHER4_API RootBefore {
    /// Lets the maps compare any form of text without making a CString of it.
    using is_transparent = void;
    template <typename Left, typename Right>
    /// Returns true when `left` comes first.
    bool operator()(const Left& left, const Right& right) const
    {
        return Compare(View(left), View(right));
    }

private:
    static std::wstring_view View(const CString& text) { return text.View(); }
    static std::wstring_view View(const wchar_t* text) { return text; }
    static std::wstring_view View(std::wstring_view text) { return text; }
    static bool Compare(std::wstring_view left, std::wstring_view right);
};

/// One drive of the selection.
struct DriveGuidInfo {
    std::int32_t serial = 0;    ///< volume serial number; 0: not recorded
    bool volumeMatches = false; ///< the first rule of the root names no volume, or its volume was there
    std::int32_t removed = 0;   ///< always 0 here; a service may use it
};
/// The drives of a selection by root, as StripToRoot returns it. Converts to a plain map.
struct DriveList : std::map<CString, DriveGuidInfo, RootBefore> {
    using std::map<CString, DriveGuidInfo, RootBefore>::map;
    /// Returns the same entries in the order of their units.
    operator std::map<CString, DriveGuidInfo>() const { return {begin(), end()}; }
};

/// The words in which a store reports its size; GetTotalItems reads the last two.
struct ItemCounters {
    std::uint64_t reserved[7] = {};      ///< always 0
    std::atomic<std::uint64_t> begin{0}; ///< any number; that of the watcher's store is 0
    std::atomic<std::uint64_t> end{0};   ///< `begin` and the number of entries
};

/// The rules by root, as StripToRoot returns it.
using RuleMap = std::map<CString, RuleSet, RootBefore>;

/// A snapshot of a filter's advanced rules. Any thread may use it without a lock: an expression may take long, and no
/// other thread needs to wait for it. Copies share the rules.
class ORBWATCHER4_API AdvancedRules
{
public:
    /// Makes an object without rules.
    AdvancedRules() = default;

    /// Decides as OrbFilter::CheckForAdvancedInclusion does.
    InclusionType Check(const wchar_t* path, FilterPtr* deciding = nullptr) const;

private:
    friend class OrbFilter;
    explicit AdvancedRules(std::shared_ptr<const RuleMap> rules) : m_rules(std::move(rules)) {}

    std::shared_ptr<const RuleMap> m_rules; // null: no rules. The index of each set is built already
};

/// The rules of a selection and their decisions. One thread at a time, with the exceptions at the top of this file.
class ORBWATCHER4_API OrbFilter
{
public:
    /// Makes a filter without rules and files.
    OrbFilter();
    /// Copies a filter: the rules are shared, everything else is copied. No thread may hold the lock of `other`.
    OrbFilter(const OrbFilter& other);
    /// Copies as the constructor does. Assigned to itself, the filter stays as it is.
    OrbFilter& operator=(const OrbFilter& other);
    /// Releases its rules.
    ~OrbFilter();

    /// Returns the key of every map: the path's root in lower case (`c:\` or `\\server\share`).
    static CString StripToRoot(const wchar_t* path);

    // --- Loading. Failures go to the log; the result is false when a file could not be read or is malformed. ---

    /// Reads up to three files; the rules that the filter holds stay. Loading ends at the first file that fails, and
    /// the rules of the files before it stay. Advanced rules that cannot be read are no failure. The rules are sorted
    /// afterwards, in any case.
    bool LoadXmlFilters(const wchar_t* dataFile, const wchar_t* autoExcludeFile, const wchar_t* advancedFile);
    /// Adds the rules of a file to `out` when it is given, otherwise to this filter. autoExclude: exclusions are the
    /// product's, not the user's. markFlag: every rule also covers hidden files (0x4000). readItemText: keeps each
    /// rule's markup.
    bool LoadXmlFilter(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText);
    /// The kind of a file of rules, as far as only one kind holds what is in it.
    enum class FileKind {
        Unclear,         ///< both kinds may look like this, or the file cannot be read
        Selection,       ///< a selection or automatic exclusions
        AdvancedFilters, ///< advanced filters
    };
    /// Returns the kind of a file of rules. Reads it without keeping anything, and logs nothing.
    static FileKind KindOfFile(const wchar_t* file);
    /// Adds the advanced rules of a file.
    bool LoadXmlFilterAdvanced(const wchar_t* file);
    /// Returns what the last call of one of these three functions found: files that were not read, items that are no
    /// rules, values that were dropped, and what is probably not meant. The log has the same.
    const RuleFindings& Findings() const { return m_findings; }
    /// Returns the path in the form in which the system reports changes, and to which these three functions bring the
    /// paths of rules: with its drive or share, without "/", "." and "..", and with long names. Upper and lower case
    /// stay. A text that is no full path is returned as it is.
    static CString SystemForm(const wchar_t* path);

    // --- Editing. ---

    /// Adds a rule to its drive. Its path is taken as it stands (see SystemForm). `sort`: sorts at once; otherwise the
    /// caller must call Sort before a check. Returns true unless memory runs out.
    bool AddSingleFilter(const FilterPtr& rule, bool sort);
    /// Adds an advanced rule in the same way; its Sort is SortAdvancedFilters.
    bool AddAdvancedFilter(const FilterPtr& rule, bool sort);
    /// Removes rules. byValue false: removes this very object; true: removes every rule of its drive that is equal in
    /// type, path (in the system's form, case ignored), exclude and pluginId. alsoFromXml: removes the matching items
    /// from the data file, too. Returns true when something was removed. If the file cannot be written, it stays as it
    /// is, and the log says so. An item that gave two rules is removed with the rule that includes: its exclusion alone
    /// is no item of the file.
    bool RemoveSingleFilter(FilterPtr rule, bool byValue, bool alsoFromXml);
    /// Returns false when a rule of the same path (case ignored), type, mask and pluginId has the opposite kind.
    /// Paths are compared in the system's form.
    bool CheckRuleNoConflict(const FilterPtr& rule) const;
    /// Sorts the rules of every drive.
    void Sort();
    /// Sorts the advanced rules of every drive.
    void SortAdvancedFilters();
    /// Gives the rules of one profile to another one; advanced rules do not change. Always returns true.
    bool UpdateFilterProfileIDs(__int64 oldId, __int64 newId);
    /// Moves the rules of one root to another, as copies with lower-case paths below the new root. Returns false when
    /// there are none, or when both roots are the same.
    bool MoveDriveRules(const wchar_t* from, const wchar_t* to);
    /// Empties the two rule maps; everything else stays.
    void ClearAll();
    /// Prepares a filter that will be loaded to replace `held`: takes the include roots, what is kept out, and the
    /// backup folder for the case that the settings cannot be read.
    void PrepareToReplace(const OrbFilter& held);
    /// Takes the rules, the file names and what was read with them from `other`; the lock, the caches, the links, and
    /// what was set to be kept out, stay. Advanced rules whose file exists and could not be read stay, too.
    void TakeRulesFrom(OrbFilter& other);
    /// Returns true when the filter holds a rule that is not an advanced one.
    bool HasRules() const;

    // --- What the product keeps out of every selection, whatever the rules say. The backup folder of the settings and
    // the data folder are read with the files; the rest is set here. Set it as rules are edited. Full paths; a folder
    // or file need not exist. ---

    /// Keeps out the folder that backups go to, in any spelling, with everything in it; null or empty: none.
    void SetDestination(const wchar_t* folder);
    /// Keeps out these databases, with the files that are kept beside them. Empty paths are none.
    void SetDatabases(const std::vector<CString>& databases);
    /// Keeps out other files that the calling program writes, such as the file that its output goes to.
    void SetOwnFiles(const std::vector<CString>& files);
    /// Keeps out what `other` keeps out, with its backup folder and data folder.
    void KeepOutAs(const OrbFilter& other);
    /// Returns why the product keeps the path out. Costs no lock and no allocation.
    KeptOut WhyKeptOut(const wchar_t* path) const;
    /// Returns true when the rules include the path, and it is left out only because it is in the data folder.
    bool IsLostInDataFolder(const wchar_t* path) const;

    // --- Decisions. Paths compare without regard to case. ---

    /// Returns the rules' decision on a path. `matched`, when given, receives the rules that took part, in order;
    /// `clearMatched` empties it first. `useIndexCache`: a path that the index holds is included from the start, so
    /// that no exclusion applies to it.
    InclusionType CheckForInclusion(const wchar_t* path, FilterList* matched, bool clearMatched, bool useIndexCache);
    /// Returns false only when certainly nothing below the folder is selected, at any depth. A folder that is not
    /// selected itself can hold selected files: a mask names endings that no folder has, and rules for deeper folders
    /// and single files may include what a shallower rule does not. The folder may be written with or without its
    /// trailing backslash. Links in the path are not followed, and the index is not asked.
    bool MaySelectBelow(const wchar_t* folder) const;
    /// Returns true for a path in the backup folder or in the destination, which are never backed up.
    bool IsInBackupFolder(const wchar_t* path) const;
    /// Returns the decision of one advanced rule on a path.
    InclusionType CheckForAdvancedInclusionEx(const wchar_t* path, FilterPtr rule);
    /// Returns the decision of the advanced rules on a path. `deciding`, when given, receives the rule that decided, or
    /// null.
    InclusionType CheckForAdvancedInclusion(const wchar_t* path, FilterPtr* deciding = nullptr);
    /// Returns a snapshot of the advanced rules, which later edits do not change.
    AdvancedRules CurrentAdvancedRules() const;
    /// Returns true when the advanced rules must not be asked: there are none, or `matched` selects the path
    /// explicitly.
    bool IsSkipAdvancedFilterCheck(const wchar_t* path, FilterList matched);
    /// Returns true for a rule of a disaster-recovery backup.
    bool IsDRFilter(FilterPtr rule);
    /// Returns true when a rule includes something on the drive.
    bool IsDriveIncludeRules(const wchar_t* drive);
    /// Returns true when no rule includes a folder on the drive.
    bool IsDriveIncludeOnlyFiles(const wchar_t* drive);

    // --- Lists. The root of a drive, or any path on it, names the drive. ---

    /// Returns the drives that have rules.
    DriveList GenerateDriveList();
    /// Returns the paths of the folder rules of one kind, in order.
    std::vector<CString> GenerateDirectoryList(const wchar_t* drive, WatcherEnum::IncEx kind);
    /// Returns the paths of the single-file rules of one kind, in order.
    std::vector<CString> GenerateFileList(const wchar_t* drive, WatcherEnum::IncEx kind);
    /// Appends the paths of the rules that include a single file.
    void GetExplicitFiles(const wchar_t* drive, std::vector<CString>& files);
    /// Adds to the map the profile of each ending that an including rule names.
    void GenerateExtensionMap(ExtensionMap& map);
    /// Does the same for a map with the table's own memory, which ends the process when memory runs out.
    void GenerateExtensionMap(google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs>& map);
    /// Returns every rule of the drive, in order.
    FilterList RulesOf(const wchar_t* drive) const;
    /// Returns every rule, drive by drive.
    FilterList AllRules() const;
    /// Returns the rules that carry the flag, drive by drive.
    FilterList RulesWith(std::uint32_t flag) const;

    // --- Walks. `caller` receives progress and finds, with no lock held. No directory is walked twice until the set of
    // scanned directories is emptied. A path that cannot be read is logged and does not end a walk. ---

    /// Walks one file or folder. Returns false when it does not exist, when a single file cannot be opened, and when
    /// `caller` aborts.
    bool ScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                       bool recurse, WalkObserver* observer = nullptr);
    /// Walks what the rules of the path's drive select, or, with `recurse`, everything below the path with an empty set
    /// of scanned directories. `context` is an abort event or null. The pattern applies to names of files. Returns
    /// false only when the event was set or `caller` aborted.
    bool SmartScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                            void* context, bool recurse);
    /// Reads the rules for a walk of the drive's selection. ScanSelection then needs the rules no more, so that they
    /// may be edited while it walks.
    ScanLists CollectScanLists(const wchar_t* drive) const;
    /// Walks what the lists cover. The lists and `caller` must live until it returns. Returns false only when it was
    /// aborted.
    bool ScanSelection(const ScanLists& lists, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                       void* context, WalkObserver* observer = nullptr);
    /// Rewrites a path that runs through a known junction to the junction's destination.
    void UpdateJunctionDestination(CString& path);
    /// Forgets the scanned directories; the junctions stay known.
    void ClearJunctionCache();

    // --- Links to other objects, which must outlive this one, or be replaced by null first. ---

    /// Sets the folders to which a rule for their whole drive is copied when it is added.
    void SetIncludeRoots(std::vector<CString> roots) { m_includeRoots = std::move(roots); }
    /// Sets the store whose words GetTotalItems reads.
    void SetNotificationStore(const ItemCounters* store) { m_store = store; }
    /// Sets the connection to the overlay service.
    void SetOverlayCache(OverlayCache* overlay) { m_overlay = overlay; }
    /// Sets the second selection of a watcher.
    void SetSecondaryFilter(OrbFilter* secondary) { m_secondary = secondary; }
    /// Returns the difference of the store's last two words as it stands, not divided; 0 without a store.
    unsigned __int64 GetTotalItems();

    /// Returns the file that was loaded last; empty when there was none.
    const CString& DataFile() const { return m_dataFile; }
    /// Returns the text that the selection file keeps for the product.
    const CString& GlobalExclude() const { return m_globalExclude; }
    /// Returns the folder that backups go to, with a backslash at its end; empty when none is set.
    const CString& BackupFolder() const { return m_backupFolder; }
    /// Returns true when a rule includes something on the network.
    bool NetworkInclude() const { return m_networkInclude; }

private:
    friend class AdvancedRules;
    friend class FilterAccess; // the watcher, the estimator and tests

    // Returns the rules of the path's drive in one of the maps, null when it has none. The path ends with a zero.
    static const RuleSet* RulesOfPath(const RuleMap& map, std::wstring_view path);
    // Returns the same, and adds an empty entry when there is none.
    static RuleSet& RulesForPath(RuleMap& map, std::wstring_view path);
    template <typename Map>
    static auto FindRules(Map& map, std::wstring_view path);
    const RuleMap& AdvancedMap() const;
    // Returns a map for an edit: no AdvancedRules object shares it.
    RuleMap& EditAdvancedMap();
    void HandOn(const FilterPtr& rule, FilterList* out);
    bool ReadSelection(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText);
    bool ReadAdvancedFilters(const wchar_t* file);
    void AddVolumeFindings();
    void ReadKeptOutFolders();
    std::vector<CString> KeptOutFolders() const;
    bool RemoveFromDataFile(const Filter& rule) const;
    bool SaveDataFile(CMarkup& document) const;

    RuleMap m_driveRules;
    std::shared_ptr<RuleMap> m_advancedRules; // null: none. Shared with the snapshots that were returned
    WalkMemory m_memory;
    CString m_dataFile;
    CString m_autoExcludeFile;
    CString m_advancedFile;
    CString m_globalExclude;
    OverlayCache* m_overlay = nullptr;
    const ItemCounters* m_store = nullptr;
    CString m_backupFolder; // of the settings; ends in "\"; empty when none is set
    KeptOutPaths m_keptOut;
    OrbFilter* m_secondary = nullptr;
    std::vector<CString> m_includeRoots;
    bool m_networkInclude = false;
    bool m_advancedUnread = false;
    RuleFindings m_findings;
};
