/// @file
/// OrbFilter: the backup selection.
///
/// It holds the rules, read from XML files, grouped by drive, and answers whether
/// a path is selected. The rule maps have no lock of their own: loading and
/// editing must not overlap checks, and checks on one object must not overlap
/// each other (looking a drive up may add an empty entry for it). The junction
/// cache and the set of scanned directories have one and may be used from any
/// thread.
///
/// No exception leaves an operation; only constructing and assigning throw
/// std::bad_alloc. What runs out of memory is logged and has changed nothing, and
/// its answer errs to the safe side: loading, adding, removing and walking say
/// false; a check says that the path is included, since a backup that holds too
/// much is no loss; a list is empty. An exception of a caller's callback ends a walk
/// in the same way. Inside the watcher such an operation fails as a whole instead.
#pragma once

#include "companions/readerswriters/ReadersWriters.h"
#include "mfc/CString.h"
#include "orbwatcher4/Export.h"
#include "orbwatcher4/ExtProperties.h"
#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleSet.h"
#include "orbwatcher4/filter/ScanLists.h"
#include "support/HashMemory.h"
#include "support/PathFingerprint.h"

#include <sparsehash/dense_hash_set>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

class CMarkup;
class OverlayCache;
class WalkObserver;

/// Roots compare without regard to case, in every alphabet.
struct ORBWATCHER4_API RootBefore {
    /// Any form of text is compared without making a CString of it.
    using is_transparent = void;
    template <typename Left, typename Right>
    /// True when `left` comes first.
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

/// One drive of the selection, as the watcher follows it.
struct DriveGuidInfo {
    std::int32_t serial = 0;    ///< volume serial number; 0: not recorded
    bool volumeMatches = false; ///< the volume was found mounted; later: the drive is being watched
    std::int32_t removed = 0;   ///< 1: the drive must no longer be watched
};
/// Keyed by root, as StripToRoot gives it. Converts to a plain map.
struct DriveList : std::map<CString, DriveGuidInfo, RootBefore> {
    using std::map<CString, DriveGuidInfo, RootBefore>::map;
    /// The same entries in the order of their units.
    operator std::map<CString, DriveGuidInfo>() const { return {begin(), end()}; }
};

/// Where a store says how much it holds; GetTotalItems reports from the last two words.
struct ItemCounters {
    std::uint64_t reserved[7] = {};      ///< 0
    std::atomic<std::uint64_t> begin{0}; ///< address of the first entry
    std::atomic<std::uint64_t> end{0};   ///< address behind the last one
};

/// Rules by root, as StripToRoot gives it.
using RuleMap = std::map<CString, RuleSet, RootBefore>;

/// The advanced rules of a filter as they were when the filter was asked for them. Any thread, no lock: an expression
/// may take long, and nobody needs to wait for it. Copies share the rules.
class ORBWATCHER4_API AdvancedRules
{
public:
    /// No rule.
    AdvancedRules() = default;

    /// As OrbFilter::CheckForAdvancedInclusion.
    InclusionType Check(const wchar_t* path, FilterPtr* deciding = nullptr) const;

private:
    friend class OrbFilter;
    explicit AdvancedRules(std::shared_ptr<const RuleMap> rules) : m_rules(std::move(rules)) {}

    std::shared_ptr<const RuleMap> m_rules; // null: none. The index of each set has been made.
};

/// The rules of a selection, and what they decide. One thread at a time, except as said at the top of this file.
class ORBWATCHER4_API OrbFilter
{
public:
    /// No rule, no file.
    OrbFilter();
    /// The rules are shared, everything else is copied; nobody may hold the source's lock.
    OrbFilter(const OrbFilter& other);
    /// As copying; assigned to itself it stays as it is.
    OrbFilter& operator=(const OrbFilter& other);
    /// Lets go of the rules.
    ~OrbFilter();

    /// The key of every map: the path's root in lower case (`c:\` or `\\server\share`).
    static CString StripToRoot(const wchar_t* path);

    // --- Loading. Errors go to the log; false when a file could not be read or is malformed. ---

    /// Reads up to three files; what was held before stays. A failure stops at the failing file and keeps
    /// what came before it. The rules are in order afterwards, also after a failure.
    bool LoadXmlFilters(const wchar_t* dataFile, const wchar_t* autoExcludeFile, const wchar_t* advancedFile);
    /// Rules go to `out` when it is given, into this filter otherwise. autoExclude: exclusions are the
    /// product's, not the user's. markFlag: every rule also covers hidden files (0x4000). readItemText:
    /// keep each rule's markup.
    bool LoadXmlFilter(const wchar_t* file, bool autoExclude, FilterList* out, bool markFlag, bool readItemText);
    /// Adds the advanced rules of a file.
    bool LoadXmlFilterAdvanced(const wchar_t* file);

    // --- Editing. ---

    /// Files a rule under its drive. `sort`: into order at once, else Sort is to be called before a check. Always true.
    bool AddSingleFilter(const FilterPtr& rule, bool sort);
    /// The same for an advanced rule.
    bool AddAdvancedFilter(const FilterPtr& rule, bool sort);
    /// byValue false: that very object; true: every rule of its drive equal in type, path (case ignored),
    /// exclude and pluginId. alsoFromXml: the data file loses the matching items, too. True when something
    /// was removed; where the file could not be written, it is as it was and the log says so. An item that gave
    /// two rules goes with the one that includes: its exclusion alone is no item of the file.
    bool RemoveSingleFilter(FilterPtr rule, bool byValue, bool alsoFromXml);
    /// False when a rule of the same path (case ignored), type, mask and pluginId has the opposite kind.
    bool CheckRuleNoConflict(const FilterPtr& rule) const;
    /// Puts the rules of every drive into their order.
    void Sort();
    /// The same for the advanced rules.
    void SortAdvancedFilters();
    /// Rules of one profile become those of another; not the advanced ones. Always true.
    bool UpdateFilterProfileIDs(__int64 oldId, __int64 newId);
    /// Files the rules of one root under another: copies whose paths are lower-cased and led to the new root.
    /// False when there are none.
    bool MoveDriveRules(const wchar_t* from, const wchar_t* to);
    /// Empties the two rule maps only.
    void ClearAll();
    /// For a filter that is to be loaded in place of a held one: the include roots, and the backup folder as
    /// long as the settings cannot be read.
    void PrepareToReplace(const OrbFilter& held);
    /// The rules, file names and what was read with them become those of the other one; lock, caches and
    /// links stay. Advanced rules whose file is there and could not be read stay, too.
    void TakeRulesFrom(OrbFilter& other);
    /// True when it holds a rule that is not an advanced one.
    bool HasRules() const;

    // --- Deciding. Paths compare without regard to case. ---

    /// What the rules say of a path. `matched`, when given, receives those that took part, in order; `clearMatched`
    /// empties it before. `useIndexCache`: what the index holds is included from the start, so that no exclusion
    /// applies to it.
    InclusionType CheckForInclusion(const wchar_t* path, FilterList* matched, bool clearMatched, bool useIndexCache);
    /// Returns false only when certainly nothing below the folder is selected, however deep. A folder that is not
    /// selected itself can hold selected files: a mask names endings that no folder has, and rules for deeper folders
    /// and single files may include what a shallower rule does not. The folder may be written with or without its
    /// trailing backslash; links in the path are not followed, and the index is not asked.
    bool MaySelectBelow(const wchar_t* folder) const;
    /// The backup destination is never backed up.
    bool IsInBackupFolder(const wchar_t* path) const;
    /// What one advanced rule says of a path.
    InclusionType CheckForAdvancedInclusionEx(const wchar_t* path, FilterPtr rule);
    /// `deciding`, when given, receives the advanced rule that decided, or null.
    InclusionType CheckForAdvancedInclusion(const wchar_t* path, FilterPtr* deciding = nullptr);
    /// Returns the advanced rules as they are now. Later edits do not change what was returned.
    AdvancedRules CurrentAdvancedRules() const;
    /// True when the advanced rules are not to be asked: there are none, or `matched` selects the path explicitly.
    bool IsSkipAdvancedFilterCheck(const wchar_t* path, FilterList matched);
    /// True for a rule of a disaster-recovery backup.
    bool IsDRFilter(FilterPtr rule);
    /// Whether a rule includes something on the drive.
    bool IsDriveIncludeRules(const wchar_t* drive);
    /// Whether no rule includes a folder on the drive.
    bool IsDriveIncludeOnlyFiles(const wchar_t* drive);

    // --- Lists. A drive may be named by its root or by any path on it. ---

    /// The drives for which there are rules.
    DriveList GenerateDriveList();
    /// Paths of the folder rules of one kind, in order.
    std::vector<CString> GenerateDirectoryList(const wchar_t* drive, WatcherEnum::IncEx kind);
    /// Paths of the single-file rules of one kind, in order.
    std::vector<CString> GenerateFileList(const wchar_t* drive, WatcherEnum::IncEx kind);
    /// Appends the files that are included one by one.
    void GetExplicitFiles(const wchar_t* drive, std::vector<CString>& files);
    /// Adds to the map which profile the endings of including rules belong to.
    void GenerateExtensionMap(ExtensionMap& map);
    /// The same for a map with the memory that the table takes by itself, which ends the process when there is none.
    void GenerateExtensionMap(google::sparse_hash_map<CString, ExtProperties, cstring_hash_cs>& map);
    /// Every rule of the drive, in order.
    FilterList RulesOf(const wchar_t* drive) const;
    /// Every rule, drive by drive.
    FilterList AllRules() const;
    /// The rules that carry the flag, drive by drive.
    FilterList RulesWith(std::uint32_t flag) const;

    // --- Walking. Progress and finds go to the caller, with no lock held. No directory is walked twice until the
    // set of scanned directories is emptied. What cannot be read is logged and does not end a walk. ---

    /// One file or folder. False when there is none, when a single file cannot be opened, and when the caller aborted.
    bool ScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                       bool recurse, WalkObserver* observer = nullptr);
    /// `context` is an abort event or null. False only when it was set or the caller aborted.
    /// recurse false: what the rules of the path's drive select; true: everything below the path, with an empty set
    /// of scanned directories. The pattern is for names of files.
    bool SmartScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                            void* context, bool recurse);
    /// The same in two steps, for rules that may be edited while the walk runs: they are read by the first one only.
    ScanLists CollectScanLists(const wchar_t* drive) const;
    /// Walks what the lists cover. The lists and the caller must stay until it returns. False only when it was aborted.
    bool ScanSelection(const ScanLists& lists, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                       void* context, WalkObserver* observer = nullptr);
    /// A path that runs through a known junction is rewritten to the junction's destination.
    void UpdateJunctionDestination(CString& path);
    /// Forgets the scanned directories; the junctions stay known.
    void ClearJunctionCache();

    // --- Links to other objects, which must outlive this one or be taken back with null. ---

    /// Folders to which a rule for their whole drive is copied when it is added.
    void SetIncludeRoots(std::vector<CString> roots) { m_includeRoots = std::move(roots); }
    /// Where GetTotalItems asks.
    void SetNotificationStore(const ItemCounters* store) { m_store = store; }
    /// The connection to the overlay service.
    void SetOverlayCache(OverlayCache* overlay) { m_overlay = overlay; }
    /// The second selection of a watcher.
    void SetSecondaryFilter(OrbFilter* secondary) { m_secondary = secondary; }
    /// The difference of the store's two element words as it stands, not divided; 0 without a store.
    unsigned __int64 GetTotalItems();

    /// The file that was loaded last; empty when there was none.
    const CString& DataFile() const { return m_dataFile; }
    /// The text of the selection file that it keeps for the product.
    const CString& GlobalExclude() const { return m_globalExclude; }
    /// Where backups go; ends in a backslash. Empty when that is not set.
    const CString& BackupFolder() const { return m_backupFolder; }
    /// True when a rule includes something on the network.
    bool NetworkInclude() const { return m_networkInclude; }

private:
    friend class AdvancedRules;
    friend class JunctionAccess; // the walk, and tests, fill the cache through it

    // The rules of the path's drive in one of the maps, null when it has none. The path ends with a zero.
    static const RuleSet* RulesOfPath(const RuleMap& map, std::wstring_view path);
    // The same, with an entry that is made when there is none.
    static RuleSet& RulesForPath(RuleMap& map, std::wstring_view path);
    template <typename Map>
    static auto FindRules(Map& map, std::wstring_view path);
    const RuleMap& AdvancedMap() const;
    // For an edit: nobody else has this map.
    RuleMap& EditAdvancedMap();
    // True when the directory was not known yet; `dir` gets its trailing backslash.
    bool AddScannedDirectory(CString& dir);
    void RememberJunction(const CString& junction, const CString& destination);
    void HandOn(const FilterPtr& rule, FilterList* out);
    void ReadBackupFolder();
    bool RemoveFromDataFile(const Filter& rule) const;
    bool SaveDataFile(CMarkup& document) const;

    RuleMap m_driveRules;
    std::shared_ptr<RuleMap> m_advancedRules; // null: none. Shared with those who were given the rules
    std::map<CString, CString> m_junctions;   // lower-cased junction ending in "\" to destination; guarded by m_lock
    ReadersWriters m_lock;
    google::dense_hash_set<PathFingerprint, std::hash<PathFingerprint>, std::equal_to<PathFingerprint>,
                           HashMemory<PathFingerprint>>
        m_scanned; // guarded by m_lock
    CString m_dataFile;
    CString m_autoExcludeFile;
    CString m_advancedFile;
    CString m_globalExclude;
    OverlayCache* m_overlay = nullptr;
    const ItemCounters* m_store = nullptr;
    CString m_backupFolder; // ends in "\"; empty when none is set
    OrbFilter* m_secondary = nullptr;
    std::vector<CString> m_includeRoots;
    bool m_networkInclude = false;
    bool m_advancedUnread = false;
};
