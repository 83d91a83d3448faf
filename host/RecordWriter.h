// What orbwatch prints: one JSON object a line, or lines for people. Records go
// to standard output, errors to standard error; each is flushed at once.
#pragma once

#include "orbwatcher4/OrbWatcher.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class RecordWriter
{
public:
    RecordWriter(FILE* data, bool json) : m_data(data), m_json(json) {}

    void Ready(const std::vector<CString>& roots);
    // The roots that are watched have changed: a drive came or went.
    void Roots(const std::vector<CString>& roots);
    void Pending(const QueueDatum& datum);
    void Explain(const std::wstring& path, const PathExplanation& explanation);
    void Summary(std::uint64_t handedOut, std::int64_t pending, int exitCode);
    void Created(const std::wstring& path);
    // `path` may be empty.
    void Error(const std::wstring& message, const std::wstring& path = L"");
    // For people only; with JSON on standard error as well, so that data stays data.
    void Note(const std::wstring& message);

    // False once standard output cannot be written any more.
    bool Good() const { return !std::ferror(m_data); }

private:
    template <typename Object>
    void Write(FILE* to, const char* type, Object fields);
    void Print(FILE* to, const std::string& line);
    void WriteRoots(const char* type, const std::vector<CString>& roots);

    FILE* m_data;
    const bool m_json;
    std::uint64_t m_seq = 0;
};
