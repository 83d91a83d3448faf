#include "host/DirectoryOpener.h"

#include "host/Wine.h"
#include "host/WineFolder.h"
#include "support/Dots.h"
#include "support/Handle.h"
#include "support/NoCaseKeys.h"
#include "support/SharedAccess.h"
#include "support/SystemPath.h"

#include <winternl.h>

#include <algorithm>
#include <unordered_set>

namespace
{

constexpr DWORD LongestTurn = 10000;   // milliseconds for another orbwatch to open its folders
constexpr ULONGLONG LongestEnd = 5000; // milliseconds that forgetting may delay the end

bool Contains(const std::vector<CString>& roots, const CString& root)
{
    return std::find(roots.begin(), roots.end(), root) != roots.end();
}

// The claim on a root is a mutex. It exists as long as an orbwatch watches the root, and an orbwatch owns it while it
// opens folders.
std::wstring ClaimName(const CString& root)
{
    std::wstring name = L"Local\\orbwatch-root-";
    for (const wchar_t unit : root.View())
        name += unit == L'\\' ? L'/' : unit;
    return name;
}

class OwnedMutex
{
public:
    explicit OwnedMutex(HANDLE mutex) : m_mutex(mutex)
    {
        const DWORD result = WaitForSingleObject(mutex, LongestTurn);
        m_owned = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }
    ~OwnedMutex()
    {
        if (m_owned)
            ReleaseMutex(m_mutex);
    }
    bool Owned() const { return m_owned; }
    OwnedMutex(const OwnedMutex&) = delete;
    OwnedMutex& operator=(const OwnedMutex&) = delete;

private:
    const HANDLE m_mutex;
    bool m_owned;
};

// Returns true when no other process has the claim open.
bool IsTheOnlyHandle(HANDLE claim)
{
    using Query = NTSTATUS(NTAPI*)(HANDLE, OBJECT_INFORMATION_CLASS, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<Query>(
        // NOLINTNEXTLINE(bugprone-casting-through-void): what the system gives is not of the type that it says
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryObject")));
    PUBLIC_OBJECT_BASIC_INFORMATION information = {};
    return query && query(claim, ObjectBasicInformation, &information, sizeof information, nullptr) >= 0 &&
           information.HandleCount == 1;
}

// One pass over the folders of the selection on a root. Each folder is opened once, however many rules name it or lead
// through it. It is forgotten once at most: a second time would undo the opening of folders in it.
class RootPass
{
public:
    RootPass(const CString& root, bool forget, const std::function<bool()>& stop)
        : m_rootLength(static_cast<std::size_t>(root.GetLength())),
          m_forget(forget),
          m_stop(stop)
    {
    }

    // Wine needs the folders from the top down, so those on the way come first.
    void Open(const SelectionView::Folder& folder)
    {
        // The root itself is watched already.
        for (std::size_t slash = folder.path.find(L'\\', m_rootLength + 1); slash != std::wstring::npos && !m_stop();
             slash = folder.path.find(L'\\', slash + 1))
            if (slash + 1 < folder.path.size() || !folder.withSubfolders)
                OpenAlone(folder.path.substr(0, slash + 1));
        if (folder.withSubfolders)
            OpenBelow(folder.path);
    }

private:
    using Paths = std::unordered_set<std::wstring, NoCase::Hash, NoCase::Equal>;

    // Opens the folder without a look at what is in it.
    void OpenAlone(const std::wstring& folder)
    {
        if (!m_opened.insert(folder).second)
            return;
        if (m_forget)
            MakeWineForget(folder);
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(SystemPath((folder + L"*").c_str()), &data));
    }

    void OpenBelow(const std::wstring& top)
    {
        std::vector<std::wstring> waiting{top};
        while (!waiting.empty() && !m_stop()) {
            const std::wstring folder = std::move(waiting.back());
            waiting.pop_back();
            for (std::wstring& inside : OpenWithContents(folder))
                waiting.push_back(std::move(inside));
        }
    }

    // Opens the folder; returns the folders directly in it.
    std::vector<std::wstring> OpenWithContents(const std::wstring& folder)
    {
        std::vector<std::wstring> inside;
        if (!m_walked.insert(folder).second)
            return inside;
        if (m_opened.insert(folder).second && m_forget)
            MakeWineForget(folder);
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(SystemPath((folder + L"*").c_str()), &data));
        if (!search)
            return inside;
        do {
            const bool entered = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) &&
                                 !(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && !IsDots(data.cFileName);
            if (entered)
                inside.push_back(folder + data.cFileName + L"\\");
        } while (!m_stop() && FindNextFileW(search.Get(), &data));
        return inside;
    }

    const std::size_t m_rootLength;
    const bool m_forget;
    const std::function<bool()>& m_stop;
    Paths m_opened;
    Paths m_walked; // opened, with everything in them
};

} // namespace

// A folder with everything in it comes before the rules about what is in it: these then open nothing more.
void DirectoryOpener::SortFolders()
{
    std::sort(m_folders.begin(), m_folders.end(),
              [](const SelectionView::Folder& left, const SelectionView::Folder& right) {
                  const int order = CompareNoCase(left.path, right.path);
                  return order != 0 ? order < 0 : left.withSubfolders && !right.withSubfolders;
              });
}

bool DirectoryOpener::Open(const std::vector<CString>& roots)
{
    static const bool wine = RunsUnderWine();
    std::erase_if(m_claims, [&](const auto& claim) { return !Contains(roots, claim.first); });
    if (wine)
        for (const CString& root : roots)
            if (m_foldersChanged || !Contains(m_opened, root))
                OpenRoot(root);
    m_foldersChanged = false;
    const bool differ = m_opened != roots;
    m_opened = roots;
    return differ;
}

void DirectoryOpener::SetFolders(std::vector<SelectionView::Folder> folders)
{
    m_folders = std::move(folders);
    SortFolders();
    m_foldersChanged = true;
}

void DirectoryOpener::OpenRoot(const CString& root)
{
    KernelHandle& claim = m_claims[root];
    SharedAccess everyone;
    claim.Reset(CreateMutexW(everyone.Attributes(), FALSE, ClaimName(root).c_str()));
    const bool forget = claim && GetLastError() != ERROR_ALREADY_EXISTS;
    const OwnedMutex turn(claim.Get());
    PassOver(root, forget, m_stop);
}

void DirectoryOpener::Close()
{
    const ULONGLONG end = GetTickCount64() + LongestEnd;
    const auto late = [&] { return GetTickCount64() >= end; };
    for (const auto& [root, claim] : m_claims)
        ForgetRoot(root, claim.Get(), late);
    m_claims.clear();
}

void DirectoryOpener::ForgetRoot(const CString& root, HANDLE claim, const std::function<bool()>& stop) const
{
    const OwnedMutex turn(claim);
    if (turn.Owned() && IsTheOnlyHandle(claim))
        PassOver(root, true, stop);
}

void DirectoryOpener::PassOver(const CString& root, bool forget, const std::function<bool()>& stop) const
{
    RootPass pass(root, forget, stop);
    for (const SelectionView::Folder& folder : m_folders) {
        if (stop())
            return;
        if (BeginsNoCase(folder.path, root.View()))
            pass.Open(folder);
    }
}
