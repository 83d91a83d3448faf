// A sink that writes down what was decoded.
#pragma once

#include "directory_changes/ChangeRecords.h"

#include <string>
#include <vector>

class RecordingSink final : public ChangeRecordSink
{
public:
    std::vector<std::wstring> events;
    void Added(const wchar_t* path) override { events.push_back(std::wstring(L"+") + path); }
    void Removed(const wchar_t* path) override { events.push_back(std::wstring(L"-") + path); }
    void Modified(const wchar_t* path) override { events.push_back(std::wstring(L"*") + path); }
    void Renamed(const wchar_t* from, const wchar_t* to) override
    {
        events.push_back(std::wstring(L">") + from + L">" + to);
    }
};
