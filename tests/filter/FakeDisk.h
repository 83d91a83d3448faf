// A disk in memory for walks. Paths compare without regard to case; a folder's ends in a backslash.
#pragma once

#include "orbwatcher4/filter/ScanBounds.h"
#include "orbwatcher4/filter/ScanDisk.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "tests/filter/ReparseBytes.h"

#include <map>
#include <string>

struct PathBefore {
    bool operator()(const CString& left, const CString& right) const
    {
        return CompareNoCase(left.View(), right.View()) < 0;
    }
};
template <typename Value>
using ByPath = std::map<CString, Value, PathBefore>;

class FakeDisk : public ScanDisk
{
public:
    FakeDisk() { m_folders[L"C:\\"]; }

    void AddFolder(const CString& path, DWORD attributes = 0)
    {
        Enter(WithBackslash(path), attributes | FILE_ATTRIBUTE_DIRECTORY);
        m_folders[WithBackslash(path)];
    }
    void AddFile(const CString& path, std::uint64_t size = 1) { Enter(path, FILE_ATTRIBUTE_NORMAL, size); }
    void AddLink(const CString& path, const Bytes& data, DWORD attributes = 0)
    {
        Enter(WithBackslash(path), attributes | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
        reparse[WithBackslash(path)] = data;
    }
    void AddJunction(const CString& path, const CString& target, DWORD attributes = 0)
    {
        AddLink(path, MountPoint((L"\\??\\" + target).View()), attributes);
    }

    DWORD Attributes(const CString& path) override
    {
        const auto found = m_attributes.find(WithBackslash(path));
        if (found != m_attributes.end())
            return found->second;
        const auto error = attributeErrors.find(WithBackslash(path));
        SetLastError(error == attributeErrors.end() ? ERROR_PATH_NOT_FOUND : error->second);
        return INVALID_FILE_ATTRIBUTES;
    }
    std::optional<unsigned __int64> FileSize(const CString& path) override
    {
        if (m_attributes.contains(WithBackslash(path)))
            return 7;
        return std::nullopt;
    }
    DWORD List(const CString& folder, const wchar_t*, const Take& take) override
    {
        ++listed[folder];
        if (const auto error = listErrors.find(folder); error != listErrors.end())
            return error->second;
        const auto found = m_folders.find(folder);
        if (found == m_folders.end())
            return ERROR_PATH_NOT_FOUND;
        for (const auto& [name, data] : found->second)
            if (!take(data))
                break;
        const auto late = lateErrors.find(folder);
        return late == lateErrors.end() ? 0 : late->second;
    }
    DWORD ReadReparse(const CString& path, Bytes& data) override
    {
        ++reads;
        const auto found = reparse.find(WithBackslash(path));
        if (found == reparse.end())
            return readError;
        data = found->second;
        return 0;
    }
    CString Follow(const CString& path) override
    {
        const auto found = real.find(WithBackslash(path));
        return found == real.end() ? CString() : found->second;
    }
    CString MountedAt(const CString& volume) override
    {
        const auto found = mounted.find(volume);
        return found == mounted.end() ? CString() : found->second;
    }

    ByPath<Bytes> reparse;
    ByPath<CString> real;
    ByPath<CString> mounted;
    ByPath<DWORD> attributeErrors; // of what is not to be seen
    ByPath<DWORD> listErrors;      // before the first entry
    ByPath<DWORD> lateErrors;      // after the last one
    ByPath<int> listed;
    DWORD readError = ERROR_FILE_NOT_FOUND;
    int reads = 0;

private:
    void Enter(const CString& path, DWORD attributes, std::uint64_t size = 0)
    {
        const std::wstring plain(CString(path).TrimRight(L'\\').View());
        const std::size_t cut = plain.rfind(L'\\');
        WIN32_FIND_DATAW data = {};
        data.dwFileAttributes = attributes;
        data.nFileSizeLow = static_cast<DWORD>(size);
        data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        plain.copy(data.cFileName, MAX_PATH - 1, cut + 1);
        m_folders[CString(std::wstring_view(plain).substr(0, cut + 1))][plain.substr(cut + 1)] = data;
        m_attributes[WithBackslash(path)] = attributes;
    }

    ByPath<std::map<std::wstring, WIN32_FIND_DATAW>> m_folders;
    ByPath<DWORD> m_attributes;
};
