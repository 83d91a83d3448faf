#include "orbwatcher4/core/pending/DumpFile.h"

#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpLines.h"
#include "support/FileReplacement.h"
#include "support/OwnerAccess.h"
#include "support/TrustedFile.h"
#include "support/WithoutThreadToken.h"

CString DumpFilePath()
{
    CString path = GetMainSettings().GetDataFolderPath();
    if (path.IsEmpty() || path[path.GetLength() - 1] != L'\\')
        path += L'\\';
    return path += L"watcher_dump.bin";
}

namespace
{

// The dump belongs to the product: it is opened with the rights of the process, whichever user the thread acts for.
FileHandle OpenDump(const CString& path, DWORD access, SECURITY_ATTRIBUTES* attributes, DWORD disposition)
{
    const WithoutThreadToken asProcess;
    return OpenTrusted(path, access, 0, attributes, disposition);
}

// The dump is marked read-only. It is the product's own file all the same.
void MakeWritable(const CString& path)
{
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) && !(attributes & others))
        SetFileAttributesW(path, attributes & ~DWORD(FILE_ATTRIBUTE_READONLY));
}

FileHandle OpenForWriting(const CString& path)
{
    FileHandle file = OpenDump(path, GENERIC_WRITE, OwnerAccess().Attributes(), OPEN_ALWAYS);
    if (file || GetLastError() != ERROR_ACCESS_DENIED)
        return file;
    {
        const WithoutThreadToken asProcess;
        MakeWritable(path);
    }
    return OpenDump(path, GENERIC_WRITE, OwnerAccess().Attributes(), OPEN_ALWAYS);
}

} // namespace

bool DumpExists()
{
    const WithoutThreadToken asProcess;
    return GetFileAttributesW(DumpFilePath()) != INVALID_FILE_ATTRIBUTES;
}

bool IsDumpAFolder()
{
    const WithoutThreadToken asProcess;
    const DWORD attributes = GetFileAttributesW(DumpFilePath());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool SetDumpAside()
{
    const WithoutThreadToken asProcess;
    return !MoveAside(DumpFilePath()).IsEmpty();
}

bool RemoveDump()
{
    const WithoutThreadToken asProcess;
    const CString path = DumpFilePath();
    MakeWritable(path);
    return DeleteFileW(path) || GetLastError() == ERROR_FILE_NOT_FOUND;
}

DumpWriter::DumpWriter(const CString& path, FileWriter& writer) : m_file(OpenForWriting(path)), m_writer(writer)
{
    if (IsOpen() && !SetFilePointerEx(m_file.Get(), {}, &m_end, FILE_END))
        m_file.Reset();
}

bool DumpWriter::Add(const CString& path)
{
    constexpr std::size_t blockUnits = 64 * 1024 / sizeof(wchar_t);
    m_block.append(path.View()) += L'\n';
    return m_block.size() < blockUnits || WriteBlock();
}

bool DumpWriter::WriteBlock()
{
    const DWORD size = static_cast<DWORD>(m_block.size() * sizeof(wchar_t));
    DWORD written = 0;
    if (m_writer.Write(m_file.Get(), m_block.data(), size, &written) && written == size) {
        m_end.QuadPart += size;
        m_block.clear();
        return true;
    }
    // Half a line would join with the first line of the next dump.
    const std::size_t lines = m_block.substr(0, written / sizeof(wchar_t)).rfind(L'\n') + 1; // 0 without any
    m_end.QuadPart += static_cast<LONGLONG>(lines * sizeof(wchar_t));
    SetFilePointerEx(m_file.Get(), m_end, nullptr, FILE_BEGIN);
    SetEndOfFile(m_file.Get());
    return false;
}

bool DumpWriter::Finish() { return WriteBlock() && m_writer.Flush(m_file.Get()); }

DumpRead ReadDump(const CString& path, const std::function<bool()>& stop,
                  const std::function<void(const CString&)>& line, FileDigest* digest)
{
    const FileHandle file = OpenDump(path, GENERIC_READ, nullptr, OPEN_EXISTING);
    if (!file)
        return IsDistrust(GetLastError()) ? DumpRead::NotTrusted : DumpRead::Broken;
    DumpLines lines;
    wchar_t block[4096];
    DWORD bytes = 0;
    bool halfUnit = false;
    for (;;) {
        if (!ReadFile(file.Get(), block, sizeof block, &bytes, nullptr))
            return DumpRead::Broken;
        if (bytes == 0 && (halfUnit || !lines.IsAtLineEnd()))
            return DumpRead::Cut;
        if (bytes == 0)
            return lines.PassedOver() ? DumpRead::LinesPassedOver : DumpRead::Whole;
        if (digest)
            digest->Add(block, bytes);
        halfUnit = bytes % sizeof(wchar_t) != 0;
        for (DWORD i = 0; i < bytes / sizeof(wchar_t); ++i) {
            if (stop())
                return DumpRead::Broken;
            lines.Feed(block[i], line);
        }
    }
}
