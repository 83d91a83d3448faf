// An estimator with files of the test's own, and what tests see of it that its users do not.
#pragma once

#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/estimator/DriveScans.h"
#include "orbwatcher4/estimator/EntryTree.h"
#include "orbwatcher4/estimator/Statistics.h"
#include "support/CaseFold.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

class ScannerAccess
{
public:
    static const FSEntrySetPtr& Cache(const Scanner& scanner) { return scanner.m_entryCache; }
    static SpinFlag* CacheLock(const Scanner& scanner) { return scanner.m_cacheLock.get(); }
    static OrbFilter& Selection(Scanner& scanner) { return scanner.m_selection; }
    static OrbFilter& AllFilters(Scanner& scanner) { return scanner.m_allFilters; }
    static ExtensionMap& Extensions(Scanner& scanner) { return scanner.m_extensionMap; }
    static auto& Rates(Scanner& scanner) { return scanner.m_profileRates; }
    static float DefaultRatio(const Scanner& scanner) { return scanner.m_defaultRatio; }
    static float FirstPrice(const Scanner& scanner) { return scanner.m_firstPrice; }
    static float SecondPrice(const Scanner& scanner) { return scanner.m_secondPrice; }
    static const CString& FileFolderFilter(const Scanner& scanner) { return scanner.m_fileFolderFilter; }
    static const CString& StatsPath(const Scanner& scanner) { return scanner.m_statsXmlPath; }
    static void LoadExtensions(Scanner& scanner) { scanner.LoadExtensionsMap(); }
    static void LoadProfiles(Scanner& scanner) { scanner.LoadProfileStats(); }
    static double Cost(Scanner& scanner, const FSEntry& entry) { return scanner.GetEntryCost(entry); }
    // A recount without the scan before it.
    static void Recount(Scanner& scanner) { scanner.UpdateTotals(scanner.m_entryCache, nullptr); }
    static void SetStartThread(Scanner& scanner, DriveScans::StartThread start)
    {
        scanner.m_scans->SetStartThread(start);
    }
};

class ScannerFixture : public testing::Test
{
protected:
    ScannerFixture() { std::filesystem::create_directories(folder.Path(L"tree").GetString()); }

    // The attributes of an Item element.
    static std::string Item(const std::wstring& attributes) { return "<Item " + Narrow(attributes) + "/>"; }
    static std::string FolderItem(const CString& path, const wchar_t* more = L"")
    {
        return Item(L"path=\"" + std::wstring(path) + L"\" type=\"1\" includeSub=\"1\" " + more);
    }
    CString WriteRules(const wchar_t* name, const std::string& items)
    {
        folder.WriteBytes(name, "<Data>" + items + "</Data>");
        return folder.Path(name);
    }
    // The stored configuration.
    void Configure(const std::string& items) { scanner.SetBasicInfo(WriteRules(L"data.xml", items), nullptr, nullptr); }

    // A file in the tree, with its size.
    void Write(const wchar_t* name, std::size_t size = 1)
    {
        folder.WriteBytes((std::wstring(L"tree\\") + name).c_str(), std::string(size, 'x'));
    }
    // As a rule has it: with a backslash.
    CString Tree(const wchar_t* name = L"") const { return folder.Path(L"tree\\") + name; }

    std::uint64_t Total()
    {
        scanner.UpdateTotals();
        return static_cast<std::uint64_t>(scanner.GetTotalSize());
    }
    // Returns the cached and included files with sizes; paths are relative to the tree and in lower case.
    std::map<std::wstring, std::uint64_t> IncludedFiles()
    {
        std::map<std::wstring, std::uint64_t> files;
        EXPECT_TRUE(scanner.ForEachFile([&](const JudgedFile& file) {
            if (file.decision == Included)
                files[Relative(file.path)] = file.size;
        }));
        return files;
    }
    std::wstring Relative(const CString& path) const
    {
        const CString tree = Tree();
        return std::wstring(BeginsNoCase(path.View(), tree.View()) ? path.Mid(tree.GetLength()) : path);
    }
    // The selection's rules for C:, as "kind profile path mask".
    std::vector<std::wstring> Rules(const wchar_t* drive = L"C:\\")
    {
        std::vector<std::wstring> rules;
        for (const FilterPtr& rule : ScannerAccess::Selection(scanner).RulesOf(drive))
            rules.push_back((rule->incEx == WatcherEnum::Include ? L"+" : L"-") + std::to_wstring(rule->pluginId) +
                            L" " + std::wstring(rule->path) + L" " + std::wstring(rule->mask));
        std::sort(rules.begin(), rules.end());
        return rules;
    }
    bool IsCached(const CString& path) { return IsPathCached(ScannerAccess::Cache(scanner), path) != nullptr; }

    TempFolder folder;
    LogCapture log;
    Scanner scanner;
};
using Files = std::map<std::wstring, std::uint64_t>;
