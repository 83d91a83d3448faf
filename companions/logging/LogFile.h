// The log file behind COrbLog: a sink that several processes may share.
//
// Each line is one append by the system: lines of different processes do not mix, and a process that is killed loses
// none. The file is opened such that another process can rename it. A process that finds its file full first checks
// whether another process has begun a new one. The file belongs to the account of the process, whichever user the
// writing thread impersonates.
//
// One thread at a time.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"

#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>

#include <cstdint>

class LogFile : public spdlog::sinks::base_sink<spdlog::details::null_mutex>
{
public:
    LogFile();

    // Uses OrbWatcher.log in this folder; the first line opens the file.
    void SetFolder(const CString& folder);
    // Sets the limits: a file beyond `bytes` is renamed to OrbWatcher.1.log, and `oldFiles` of these are kept.
    void SetLimits(std::uint64_t bytes, int oldFiles);
    void Close();

    // Returns why the last line did not get into the file; ERROR_SUCCESS when it did.
    unsigned long LastError() const { return m_error; }
    CString Path() const { return NumberedPath(0); }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override {}

private:
    CString NumberedPath(int number) const;
    bool Open();
    std::uint64_t Size() const;
    bool HasRoom(std::uint64_t coming);
    void MakeRoom(std::uint64_t coming);
    void Rename();

    CString m_folder;
    FileHandle m_file;
    std::uint64_t m_limit = 10 * 1024 * 1024;
    int m_oldFiles = 3;
    std::uint64_t m_size = 0;    // bytes when the system was asked last, and those that were written since
    std::uint64_t m_unasked = 0; // bytes until the system is asked again
    unsigned long m_error = 0;
};
