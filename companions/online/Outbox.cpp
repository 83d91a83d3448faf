#include "companions/online/Outbox.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "support/Handle.h"
#include "support/OwnerAccess.h"
#include "support/ProcessTurn.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace
{

constexpr const wchar_t* logSource = L"OnlineHandler";
constexpr DWORD TurnTimeoutMs = 10000;

// Lets one process and one thread of the installation work at a time. The counter is replaced as a whole, so that a
// process that ends inside leaves nothing to repair.
class Turn : public ProcessTurn
{
    const WithoutThreadToken m_asProcess; // the counter belongs to the product, whichever user the thread acts for

public:
    Turn() : ProcessTurn(GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_OUTBOX"), TurnTimeoutMs) {}
};

// Returns a number that the outbox can have used, written in digits only. Nothing for a damaged or foreign text.
template <typename Unit>
std::optional<int> GivenNumber(std::basic_string_view<Unit> digits)
{
    std::int64_t number = 0;
    for (const Unit digit : digits) {
        if (digit < Unit('0') || digit > Unit('9') || number > INT_MAX)
            return std::nullopt;
        number = number * 10 + (digit - Unit('0'));
    }
    if (number < 1 || number > INT_MAX)
        return std::nullopt;
    return static_cast<int>(number);
}

// Returns the number in the name of a transaction file.
std::optional<int> NumberInName(std::wstring_view name)
{
    constexpr std::wstring_view prefix = L"Transaction";
    constexpr std::wstring_view ending = L".tdb";
    if (!name.starts_with(prefix) || !name.ends_with(ending) || name.size() < prefix.size() + ending.size())
        return std::nullopt;
    return GivenNumber(name.substr(prefix.size(), name.size() - prefix.size() - ending.size()));
}

CString Failure(const wchar_t* what, const CString& path)
{
    g_OrbLog.WriteLog(2, logSource, __LINE__, L"%s: %s (error %u).", what, path.GetString(), GetLastError());
    return CString();
}

} // namespace

CString Outbox::PathOf(int number) const
{
    CString path;
    path.Format(L"%s\\Transaction%d.tdb", m_folder.GetString(), number);
    return path;
}

CString Outbox::Next(int& number, bool peek, bool reserve) const
{
    number = 0;
    if (!DataFolder::Create(m_folder))
        return Failure(L"The outbox cannot be created", m_folder);
    const Turn turn;
    if (!turn)
        return Failure(L"Another process keeps the outbox", m_folder);
    int candidate = ReadNext();
    while (candidate < INT_MAX && GetFileAttributesW(PathOf(candidate)) != INVALID_FILE_ATTRIBUTES)
        ++candidate;
    if (candidate == INT_MAX)
        return Failure(L"The outbox has no number left", m_folder);
    CString path = PathOf(candidate);
    // The count is raised first: losing a number in a crash is better than using one twice.
    if (!peek && !WriteNext(candidate + 1))
        return Failure(L"The outbox's count cannot be written", m_folder);
    if (reserve) {
        OwnerAccess access;
        const FileHandle file(
            CreateFileW(path, GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file)
            return Failure(L"The transaction cannot be created", path);
    }
    number = candidate;
    return path;
}

int Outbox::ReadNext() const
{
    char text[16];
    DWORD read = 0;
    const FileHandle file(CreateFileW(m_folder + L"\\next", GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    std::optional<int> next;
    if (file && ReadFile(file.Get(), text, sizeof(text), &read, nullptr))
        next = GivenNumber(std::string_view(text, read));
    return next ? *next : HighestUsed() + 1;
}

// When the count is lost or damaged, the files that wait for upload still show which numbers were used.
int Outbox::HighestUsed() const
{
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW(m_folder + L"\\Transaction*.tdb", &found));
    if (!search)
        return 0;
    int highest = 0;
    do
        highest = std::max(highest, NumberInName(found.cFileName).value_or(0));
    while (FindNextFileW(search.Get(), &found));
    return std::min(highest, INT_MAX - 1);
}

bool Outbox::WriteNext(int number) const
{
    const CString temporary = m_folder + L"\\next.tmp";
    {
        const std::string text = std::to_string(number);
        OwnerAccess access;
        DeleteFileW(temporary); // an earlier process may have left it; a link is not followed
        const FileHandle file(CreateFileW(temporary, GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
        DWORD written = 0;
        if (!file || !WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
            written != text.size() || !FlushFileBuffers(file.Get()))
            return false;
    }
    return MoveFileExW(temporary, m_folder + L"\\next", MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}
