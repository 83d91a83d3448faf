// Random changes, and random calls of the watcher, on real files: selections that are edited and loaded anew, rules
// that are added, volumes that are swapped under a letter, losses, links that lead above themselves, files that nobody
// may read.
//
// The test makes each change and tells the handler of it by the rules of Windows, so that nothing depends on when the
// system tells. Which kinds of events happen at all is drawn for each storm: what enumerates anew would hide what was
// missed before it. ORB_WATCHER_STORM_STEPS makes them longer, ORB_WATCHER_STORM_SEED other ones.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/FromEnvironment.h"
#include "tests/support/ImportedCall.h"

#include <array>
#include <random>

namespace
{

namespace fs = std::filesystem;

constexpr unsigned Storms = 8;
constexpr std::int32_t OwnSerial = 0x11112222, OtherSerial = 0x33334444;

// The serial of the volume under R:, as Wine would only tell it to a program that starts later.
class SerialOfR
{
public:
    static inline std::int32_t s_serial = OwnSerial;

private:
    static BOOL WINAPI Answer(const wchar_t* root, wchar_t* name, DWORD size, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        if (towlower(root[0]) != L'r')
            return s_original(root, name, size, serial, longest, flags, system, systemSize);
        // Wine cannot say anything of a drive that now lies elsewhere.
        if (GetFileAttributesW(root) == INVALID_FILE_ATTRIBUTES)
            return FALSE;
        if (serial)
            *serial = static_cast<DWORD>(s_serial);
        return TRUE;
    }

    static inline const auto s_original = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    const ImportedCall m_call{nullptr, "GetVolumeInformationW", &Answer};
};

class WatcherStorm : public LoopFixture, public testing::WithParamInterface<unsigned>
{
protected:
    enum class Volume { Own, Other, Away };
    Volume m_volume = Volume::Own;

    WatcherStorm()
    {
        SerialOfR::s_serial = OwnSerial;
        for (const std::wstring& name : {InTemp(L"tree"), InTemp(L"masked"), InTemp(L"elsewhere"), InTemp(L"toggled"),
                                         InTemp(L"added0"), InTemp(L"added1")})
            fs::create_directories(name);
        fs::create_directories(fs::path(m_own) / L"docs");
        fs::create_directories(fs::path(m_other) / L"docs");
        std::ofstream(fs::path(m_other) / L"docs" / L"foreign.txt") << "x";
        EXPECT_TRUE(AttachDrive('r', m_own.c_str()));
        for (const wchar_t* name : {L"tree", L"masked"})
            EXPECT_TRUE(MakeLink(InTemp(name) + L"\\up", InTemp(name)));
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        Begin();
    }
    ~WatcherStorm() override
    {
        m_held.clear();
        End();
        for (const wchar_t* name : {L"tree", L"masked"})
            RemoveLink(InTemp(name) + L"\\up");
        DetachDrive('r');
    }

    std::wstring InTemp(const wchar_t* name) const { return folder.Path(name).GetString(); }
    std::string Rules() const
    {
        const auto include = [](const std::wstring& path, const std::wstring& more = L"") {
            return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\"" + more);
        };
        return include(InTemp(L"tree")) + include(InTemp(L"masked"), L" mask=\".doc\"") +
               include(L"R:\\docs", L" vid=\"" + std::to_wstring(OwnSerial) + L"\"") +
               (m_toggled ? include(InTemp(L"toggled")) : "") + m_addedRules;
    }
    void Begin()
    {
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
        watcher.SetDataXmlPath(WriteRules(L"data.xml", Rules()));
        watcher.SetDeletionListener([this](const DeletionRecord& record) { m_deleted.push_back(record.path); });
        watcher.Resume();
        EXPECT_TRUE(watcher.LoadSelection());
        Parts().selection.requestedRoots.SetWatching(true);
        Start();
    }

    // --- Changes, and what Windows tells of them. ---

    unsigned Number(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    fs::path Folder()
    {
        static const wchar_t* const names[] = {L"tree",   L"tree",      L"masked",  L"masked", L"masked",
                                               L"masked", L"elsewhere", L"toggled", L"added0", L"added1"};
        const unsigned which = Number(12);
        fs::path path = which < std::size(names) ? fs::path(InTemp(names[which])) : fs::path(L"R:\\docs");
        for (unsigned depth = Number(3); depth > 0; --depth)
            path /= L"d" + std::to_wstring(Number(3));
        return path;
    }
    fs::path File()
    {
        const unsigned number = Number(6);
        return Folder() / (L"f" + std::to_wstring(number) + (number < 2 ? L".txt" : L".doc"));
    }
    static bool Exists(const fs::path& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }
    // Something is told only of a root that is watched; now and then it is lost.
    bool IsTold(const fs::path& path)
    {
        const CString root = OrbFilter::StripToRoot(path.c_str());
        const std::vector<CString> watched = watcher.GetWatchedRoots();
        if (std::find(watched.begin(), watched.end(), root) == watched.end())
            return false;
        if (!m_losses || Number(20) != 0)
            return true;
        Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, RootOf(root));
        return false;
    }
    void MakeFolders(const fs::path& path)
    {
        if (path == path.root_path() || Exists(path))
            return;
        MakeFolders(path.parent_path());
        if (CreateDirectoryW(path.c_str(), nullptr) && IsTold(path))
            Handler().OnFileAdded(path.c_str());
    }
    void WriteFile(const fs::path& path)
    {
        MakeFolders(path.parent_path());
        const bool isNew = !Exists(path);
        std::ofstream file(path, std::ios::binary | (Number(2) ? std::ios::app : std::ios::trunc));
        file << "change " << ++m_changes;
        file.close();
        // No two changes have the same time.
        const FileHandle handle(CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            nullptr, OPEN_EXISTING, 0, nullptr));
        m_time += 20'000'000;
        const FILETIME time{static_cast<DWORD>(m_time), static_cast<DWORD>(m_time >> 32)};
        if (!file || !handle || !SetFileTime(handle.Get(), nullptr, nullptr, &time) || !IsTold(path))
            return;
        if (isNew)
            Handler().OnFileAdded(path.c_str());
        Handler().OnFileModified(path.c_str());
    }
    void Remove(const fs::path& path)
    {
        if (DeleteFileW(path.c_str()) && IsTold(path))
            Handler().OnFileRemoved(path.c_str());
    }
    void Move(const fs::path& from, const fs::path& to)
    {
        if (from.root_name() != to.root_name() || Exists(to) || !Exists(from))
            return;
        MakeFolders(to.parent_path());
        if (!MoveFileW(from.c_str(), to.c_str()) || !IsTold(from))
            return;
        if (from.parent_path() == to.parent_path())
            return Handler().OnFileNameChanged(from.c_str(), to.c_str());
        Handler().OnFileRemoved(from.c_str());
        Handler().OnFileAdded(to.c_str());
    }
    void RemoveTree(const fs::path& path)
    {
        WIN32_FIND_DATAW data;
        FindHandle search(FindFirstFileW((path / L"*").c_str(), &data));
        for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE) {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..")
                continue;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(path / name);
            else
                Remove(path / name);
        }
        search.Reset();
        if (RemoveDirectoryW(path.c_str()) && IsTold(path))
            Handler().OnFileRemoved(path.c_str());
    }
    void Change()
    {
        switch (Number(8)) {
        case 0:
        case 1:
        case 2:
            return WriteFile(File());
        case 3:
            return Remove(File());
        case 4:
            return Move(File(), File());
        case 5:
            return RemoveTree(Folder() / (L"d" + std::to_wstring(Number(3))));
        case 6:
            return Move(Folder() / (L"d" + std::to_wstring(Number(3))), Folder() / (L"d" + std::to_wstring(Number(3))));
        default:
            return MakeFolders(Folder() / (L"d" + std::to_wstring(Number(3))));
        }
    }

    // --- What the service and the machine do meanwhile. ---

    void HandOutSome(int most)
    {
        ForgetDeleted();
        QueueDatum datum;
        for (int i = 0; i < most && watcher.GetSingleNotification(nullptr, datum); ++i) {
            ++m_handedOut;
            EXPECT_EQ(std::wstring(datum.path).find(L"foreign"), std::wstring::npos) << "of another volume";
            ForgetDeleted();
            const bool isFolder = (datum.flags & QueueFlags::Directory) != 0;
            if (datum.modificationTime < 0) {
                m_unread.insert(datum.path);
                continue;
            }
            EXPECT_TRUE(
                Index().RecordItem({datum.path, isFolder ? 1u : 0u, static_cast<std::uint64_t>(datum.modificationTime),
                                    isFolder ? CachedDatum::Folder : 0u, 0}));
        }
    }
    // An item that has returned may have been recorded anew by now.
    void ForgetDeleted()
    {
        for (const CString& path : std::exchange(m_deleted, {})) {
            CachedDatum datum;
            if (CIndexDB::GetCachedData(path.GetString(), datum) && (datum.flags & CachedDatum::NoDeleteRecord)) {
                EXPECT_TRUE(Index().ForgetItem(path));
            }
        }
    }
    void EnumerateAnew(int reload)
    {
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        EXPECT_EQ(watcher.StartFirstTimeRun(reload), 1);
        if (Number(2))
            WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    void EditSelection()
    {
        m_toggled = !m_toggled;
        WriteRules(L"data.xml", Rules());
        EnumerateAnew(1);
    }
    void AddRules()
    {
        if (m_added == 2)
            return;
        const std::wstring added = InTemp(m_added == 0 ? L"added0" : L"added1");
        const std::string rule =
            Item(L"path=\"" + added + L"\" type=\"1\" includeSub=\"1\"" + (m_added == 0 ? L"" : L" mask=\".doc\""));
        EXPECT_EQ(watcher.AddNewQueueItem(WriteRules(L"new.xml", rule), true, nullptr, 0), RulesQueued);
        m_addedRules += rule;
        ++m_added;
    }
    void HoldFile()
    {
        m_held.emplace_back(CreateFileW(File().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        if (m_held.size() > 3)
            m_held.clear();
    }
    void ChangeVolume()
    {
        if (m_volume != Volume::Own)
            return PutVolume(Volume::Own);
        PutVolume(Number(2) ? Volume::Away : Volume::Other);
    }
    void PutVolume(Volume volume)
    {
        m_held.clear();
        // The system tells of a drive that goes; a swap between two looks at one file would tell nothing.
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        EXPECT_TRUE(DetachDrive('r'));
        PassAfter(1);
        m_volume = volume;
        SerialOfR::s_serial = volume == Volume::Other ? OtherSerial : OwnSerial;
        if (volume != Volume::Away) {
            EXPECT_TRUE(AttachDrive('r', (volume == Volume::Own ? m_own : m_other).c_str()));
        }
        // The volume was changed on another machine.
        std::ofstream(fs::path(m_own) / L"docs" / L"f0.txt", std::ios::app) << ++m_changes;
        PassAfter(1);
    }
    void Restart()
    {
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        End();
        Parts().selection.requestedRoots.SetWatching(false);
        watcher.DeInit();
        EXPECT_TRUE(watcher.IsPendingKept());
        watcher.Init();
        Begin();
    }
    void Happen()
    {
        const unsigned event = Number(24);
        if (event < m_happens.size() && !m_happens[event])
            return PassAfter(1);
        switch (event) {
        case 0:
            return EditSelection();
        case 1:
            return AddRules();
        case 2:
            EXPECT_TRUE(watcher.LoadSelection());
            return;
        case 3:
            return EnumerateAnew(0);
        case 4:
            return ChangeVolume();
        case 5:
            return Restart();
        case 6:
        case 7:
            return HoldFile();
        case 8:
            FilterAccess::MemoryOf(Parts().selection.primary).Remember(folder.Path(L"tree\\up"), folder.Path(L"tree"));
            return;
        case 9:
            watcher.ImmediateProcessDeletedFiles();
            return;
        case 10:
        case 11:
        case 12:
            return HandOutSome(static_cast<int>(Number(20)));
        default:
            return PassAfter(1 + Number(4));
        }
    }

    // --- The end. ---

    void ComeToRest()
    {
        m_held.clear();
        if (m_volume != Volume::Own)
            PutVolume(Volume::Own);
        for (int quiet = 0, round = 0; quiet < 2 && round < 20; ++round) {
            const int before = m_handedOut;
            for (const CString& path : std::exchange(m_unread, {}))
                watcher.AddSingleNotification(path);
            for (const int seconds : {7, 7, 1800}) { // losses, deletions, and what the time rule starts
                PassAfter(seconds);
                WatcherAccess::Parts(watcher).enumerator.EndRuns();
                if (WatcherAccess::DeletionsThread(watcher))
                    WaitForSingleObject(WatcherAccess::DeletionsThread(watcher).Get(), 60000);
            }
            watcher.NoteFirstTimeRunCompleted();
            HandOutSome(100000);
            quiet = m_handedOut == before ? quiet + 1 : 0;
        }
    }
    bool IsSelected(const std::wstring& path, bool isFolder) const
    {
        const auto isBelow = [&](const std::wstring& top) {
            return path.size() > top.size() && path[top.size()] == L'\\' && path.starts_with(top);
        };
        const bool document = !isFolder && path.ends_with(L".doc");
        return isBelow(InTemp(L"tree")) || isBelow(L"R:\\docs") || (m_toggled && isBelow(InTemp(L"toggled"))) ||
               (isBelow(InTemp(L"masked")) && document) || (m_added > 0 && isBelow(InTemp(L"added0"))) ||
               (m_added > 1 && isBelow(InTemp(L"added1")) && document);
    }
    void JudgeBelow(const fs::path& top)
    {
        WIN32_FIND_DATAW data;
        FindHandle search(FindFirstFileW((top / L"*").c_str(), &data));
        for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE) {
            const std::wstring name = data.cFileName, path = (top / name).wstring();
            if (name == L"." || name == L".." || (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
                continue;
            const bool isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            if (isFolder)
                JudgeBelow(path);
            CachedDatum datum;
            const bool recorded =
                CIndexDB::GetCachedData(path.c_str(), datum) && !(datum.flags & CachedDatum::NoDeleteRecord);
            if (!IsSelected(path, isFolder))
                continue;
            const std::uint64_t modified =
                data.ftLastWriteTime.dwLowDateTime | std::uint64_t(data.ftLastWriteTime.dwHighDateTime) << 32;
            EXPECT_TRUE(recorded) << Narrow(path) << " was never handed out";
            EXPECT_TRUE(!recorded || isFolder || datum.modificationTime == modified)
                << Narrow(path) << " was handed out as it was before";
            ++m_judged;
        }
    }
    void JudgeIndex()
    {
        for (const std::wstring& top : {std::wstring(folder.Path()), std::wstring(L"R:\\docs")}) {
            CIndexDB& index = Index();
            ASSERT_TRUE(index.BeginFolderChildrenRead(top.c_str()));
            for (std::uint64_t id = 0; index.ReadRow(id);) {
                CachedDatum datum;
                if (CIndexDB::GetCachedData(id, datum) && !(datum.flags & CachedDatum::NoDeleteRecord)) {
                    EXPECT_TRUE(Exists(datum.path.GetString()))
                        << Narrow(datum.path.View()) << " is gone and was not recorded as deleted";
                }
            }
        }
    }

    void Draw(unsigned seed)
    {
        m_random.seed(seed);
        m_losses = Number(3) == 0;
        for (auto&& happens : m_happens)
            happens = Number(2) == 0;
    }

    std::mt19937 m_random;
    bool m_losses = false;
    std::array<bool, 9> m_happens{}; // by the number of the event, below those that always happen
    int m_judged = 0, m_handedOut = 0;
    unsigned m_changes = 0;

private:
    const std::wstring m_own = MakeVolume(L"storm-own", OwnSerial), m_other = MakeVolume(L"storm-other", OtherSerial);
    const SerialOfR m_serial;
    std::uint64_t m_time = 133'000'000'000'000'000; // 2022
    bool m_toggled = false;
    int m_added = 0;
    std::string m_addedRules;
    std::vector<FileHandle> m_held;
    std::vector<CString> m_deleted;
    std::set<CString> m_unread;
};

TEST_P(WatcherStorm, MissesNothingWhateverIsCalledMeanwhile)
{
    const unsigned steps = FromEnvironment("ORB_WATCHER_STORM_STEPS", 400);
    const unsigned seed = FromEnvironment("ORB_WATCHER_STORM_SEED", 1) * Storms + GetParam();
    Draw(seed);
    for (unsigned step = 0; step < steps && !HasFailure(); ++step) {
        SCOPED_TRACE(testing::Message() << "step " << step);
        if (Number(3) != 0)
            Change();
        else
            Happen();
    }
    ComeToRest();
    for (const wchar_t* name : {L"tree", L"masked", L"toggled", L"added0", L"added1"})
        JudgeBelow(InTemp(name));
    JudgeBelow(L"R:\\docs");
    JudgeIndex();
    EXPECT_GT(m_judged, 0);
    std::printf("storm of the watcher of seed %u: %u steps, %d handed out, %d judged\n", seed, steps, m_handedOut,
                m_judged);
}

INSTANTIATE_TEST_SUITE_P(, WatcherStorm, testing::Range(0u, Storms));

} // namespace
