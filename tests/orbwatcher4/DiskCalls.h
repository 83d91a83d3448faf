// Counts the questions about paths below one prefix that the code under test asks the disk, and can fail them as a
// drive that is away does. One object at a time.
#pragma once

#include "mfc/CString.h"
#include "support/NoCaseKeys.h"
#include "support/SystemPath.h"
#include "tests/support/ImportedCall.h"

#include <limits>
#include <map>
#include <string>

class DiskCalls
{
public:
    using Counts = std::map<std::string, int>;

    explicit DiskCalls(const CString& prefix)
    {
        s_prefix = prefix;
        s_counts.clear();
        s_goesAt = Never;
        s_errors.clear();
    }
    ~DiskCalls() { s_goesAt = Never; }
    DiskCalls(const DiskCalls&) = delete;
    DiskCalls& operator=(const DiskCalls&) = delete;

    // By the name of the function of the system.
    static const Counts& All() { return s_counts; }
    static int Sum()
    {
        int sum = 0;
        for (const auto& [name, count] : s_counts)
            sum += count;
        return sum;
    }
    static void Clear() { s_counts.clear(); }
    // Makes everything below the prefix unreachable, or reachable again.
    static void SetAway(bool away) { s_goesAt = away ? 0 : Never; }
    // Makes everything below the prefix unreachable after so many more questions.
    static void GoAwayAfter(int questions) { s_goesAt = Sum() + questions; }
    // Makes the questions about this one path fail.
    static void FailAt(const CString& path, DWORD error) { s_errors[path] = error; }

private:
    // Returns false when the question is to fail.
    static bool Ask(const char* name, const wchar_t* path)
    {
        const CString plain = PlainPath(path);
        if (!BeginsNoCase(plain.View(), s_prefix.View()))
            return true;
        const bool isAway = Sum() >= s_goesAt;
        ++s_counts[name];
        const auto error = s_errors.find(plain);
        if (isAway || error != s_errors.end())
            SetLastError(isAway ? ERROR_PATH_NOT_FOUND : error->second);
        return !isAway && error == s_errors.end();
    }

    static DWORD WINAPI Attributes(const wchar_t* path)
    {
        return Ask("GetFileAttributesW", path) ? s_attributes(path) : INVALID_FILE_ATTRIBUTES;
    }
    static BOOL WINAPI AttributesEx(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data)
    {
        return Ask("GetFileAttributesExW", path) && s_attributesEx(path, level, data);
    }
    static BOOL WINAPI Volume(const wchar_t* root, wchar_t* name, DWORD nameSize, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        return Ask("GetVolumeInformationW", root) &&
               s_volume(root, name, nameSize, serial, longest, flags, system, systemSize);
    }
    static HANDLE WINAPI Find(const wchar_t* path, WIN32_FIND_DATAW* data)
    {
        return Ask("FindFirstFileW", path) ? s_find(path, data) : INVALID_HANDLE_VALUE;
    }

    static inline const auto s_attributes = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    static inline const auto s_attributesEx = SystemFunction<decltype(GetFileAttributesExW)>("GetFileAttributesExW");
    static inline const auto s_volume = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    static inline const auto s_find = SystemFunction<decltype(FindFirstFileW)>("FindFirstFileW");
    static inline CString s_prefix;
    static inline Counts s_counts;
    static constexpr int Never = std::numeric_limits<int>::max();
    static inline int s_goesAt = Never;
    static inline std::map<CString, DWORD, NoCase::Before> s_errors;
    const ImportedCall m_attributes{nullptr, "GetFileAttributesW", &Attributes};
    const ImportedCall m_attributesEx{nullptr, "GetFileAttributesExW", &AttributesEx};
    const ImportedCall m_volume{nullptr, "GetVolumeInformationW", &Volume};
    const ImportedCall m_find{nullptr, "FindFirstFileW", &Find};
};
