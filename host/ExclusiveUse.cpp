#include "host/ExclusiveUse.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/RunningWatchers.h"
#include "host/ShownPath.h"
#include "support/OwnerAccess.h"
#include "support/SameFile.h"
#include "support/TrustedFile.h"

namespace
{

constexpr const wchar_t* FolderClaim = L"\\watcher_claim.txt";
constexpr const wchar_t* IndexClaim = L"-claim"; // after the name of the index
constexpr DWORD LongestHolder = 4096;            // bytes

std::wstring InUse(const wchar_t* what, const CString& claim)
{
    const std::wstring holder = Claim::HolderOf(claim);
    return std::wstring(what) + L" is in use by " + (holder.empty() ? L"another program" : holder);
}

// Returns the process of a watcher that runs on the folder; 0 when there is none.
DWORD RunningWatcher(const std::wstring& folder)
{
    for (const MarkedRun& run : FindRuns(folder))
        if (run.running && run.process != GetCurrentProcessId())
            return run.process;
    return 0;
}

} // namespace

std::wstring NamedUse(const FolderUse& use)
{
    std::wstring text;
    if (!use.selection.IsEmpty())
        text = L"the selection " + ShownPath(use.selection.View());
    if (!use.index.IsEmpty())
        text += (text.empty() ? L"the index " : L" with the index ") + ShownPath(use.index.View());
    return text;
}

std::wstring ForeignFolder(const FolderUse& use)
{
    const FolderUse owner = GetFolderUse();
    if (AreSameUse(owner, use))
        return L"";
    return L"the data folder belongs to " + NamedUse(owner) + L", not to " + NamedUse(use);
}

bool TellForeignFolder(const FolderUse& use, bool mayTakeOver, RecordWriter& writer)
{
    const std::wstring foreign = ForeignFolder(use);
    if (foreign.empty())
        return false;
    writer.Error(
        foreign + L". Nothing was changed. Name another data folder with --data-folder" +
            (mayTakeOver ? L", or take this one over with --take-over: everything is then looked at again" : L""),
        DataFolder::Path().GetString());
    return true;
}

Claim::~Claim()
{
    if (!m_file)
        return;
    m_file.Reset();
    DeleteFileW(m_path); // not when another process has taken it by now
}

bool Claim::Take(const CString& path, const std::wstring& holder)
{
    OwnerAccess access;
    FileHandle file =
        OpenTrusted(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, access.Attributes(), OPEN_ALWAYS);
    if (!file && GetLastError() == ERROR_SHARING_VIOLATION)
        return false;
    if (!file) {
        g_OrbLog.WriteLog(2, L"orbwatch", __LINE__, L"Other commands are not kept out, %s cannot be made: %s",
                          path.GetString(), OpeningFailure(GetLastError()).GetString());
        return true;
    }
    const std::string text = ToUtf8(holder);
    DWORD written = 0;
    SetEndOfFile(file.Get());
    WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    m_file = std::move(file);
    m_path = path;
    return true;
}

std::wstring Claim::HolderOf(const CString& path)
{
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle file = OpenTrusted(path, GENERIC_READ, forAll, nullptr, OPEN_EXISTING);
    std::string text(LongestHolder, '\0');
    DWORD bytes = 0;
    if (!file || !ReadFile(file.Get(), text.data(), LongestHolder, &bytes, nullptr))
        return L"";
    text.resize(bytes);
    return FromUtf8(text);
}

// Asks for the owner of the folder again after other commands are excluded: one of them may have taken it over.
bool ExclusiveUse::Take(const ServiceOptions& options, RecordWriter& writer)
{
    const FolderUse use = options.Use();
    const auto foreign = [&] { return !options.takeOver && TellForeignFolder(use, options.mayTakeOver, writer); };
    if (foreign() || !TakeClaims(options, writer) || foreign())
        return false;
    if (!options.takeOver || ForeignFolder(use).empty() || TakeOverFolder(use))
        return true;
    writer.Error(L"the data folder cannot be taken over, its settings cannot be written; the log says why",
                 GetMainSettings().GetDataFolderPath().GetString());
    return false;
}

bool ExclusiveUse::TakeClaims(const ServiceOptions& options, RecordWriter& writer)
{
    const FolderUse use = options.Use();
    const CString folder = DataFolder::Path();
    DataFolder::Create(folder);
    const std::wstring holder = std::wstring(L"orbwatch ") + options.command + L" (process " +
                                std::to_wstring(GetCurrentProcessId()) + L") for " +
                                NamedUse({AbsolutePath(use.selection), AbsolutePath(use.index)});
    const CString ofFolder = folder + FolderClaim, ofIndex = AbsolutePath(use.index) + IndexClaim;
    if (!m_folder.Take(ofFolder, holder)) {
        writer.Error(InUse(L"the data folder", ofFolder) +
                         L"; end it first, or name another data folder with --data-folder",
                     folder.GetString());
        return false;
    }
    if (const DWORD process = RunningWatcher(folder.GetString())) {
        writer.Error(L"the data folder is in use by a watcher of another program, process " + std::to_wstring(process) +
                         L"; end it first, or name another data folder with --data-folder",
                     folder.GetString());
        return false;
    }
    if (!m_index.Take(ofIndex, holder)) {
        writer.Error(InUse(L"the index", ofIndex) + L"; end it first, or name another index", use.index.GetString());
        return false;
    }
    return true;
}
