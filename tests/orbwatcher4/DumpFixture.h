// The base of the tests of dumps: a selected tree, the bytes of the dump, and the time of the last full enumeration.
#pragma once

#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"

class DumpFixture : public WatcherFixture
{
protected:
    DumpFixture() { SelectTree(); }

    bool DumpExists() { return GetFileAttributesW(DumpFilePath()) != INVALID_FILE_ATTRIBUTES; }
    std::string DumpBytes() { return folder.ReadBytes(L"data\\watcher_dump.bin"); }
    void WriteDump(const std::wstring& text)
    {
        folder.WriteBytes(L"data\\watcher_dump.bin",
                          std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)));
    }
    std::string Bytes(const std::wstring& text)
    {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    }
    void SelectAgain()
    {
        watcher.Init();
        watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    }
    void SetCompletionTime(std::int32_t time)
    {
        GetServiceRunSettings().Load();
        GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, time);
        EXPECT_TRUE(GetServiceRunSettings().Save());
    }
    // Ends with one pending file, and selects again. The dump's bytes.
    std::string LeaveOne()
    {
        SelectAgain();
        EXPECT_TRUE(watcher.LoadSelection());
        Handler().OnFileAdded(Write(L"a.txt"));
        watcher.DeInit();
        SelectAgain();
        SetCompletionTime(12345);
        return DumpBytes();
    }
    bool LogSays(const std::wstring& part)
    {
        const std::vector<LogCapture::Line> lines = log.Lines();
        return std::any_of(lines.begin(), lines.end(),
                           [&](const LogCapture::Line& line) { return line.text.find(part) != std::wstring::npos; });
    }
    std::int32_t CompletionTime()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1);
    }
};
