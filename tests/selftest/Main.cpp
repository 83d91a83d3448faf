// Runs the test programs of the kit, one after another, and writes the reports. Kit.h says where everything is.
#include "tests/selftest/Kit.h"
#include "tests/selftest/KitDrives.h"
#include "tests/selftest/Options.h"
#include "tests/selftest/OrdinaryAccount.h"
#include "tests/selftest/ProgramRun.h"
#include "tests/selftest/Report.h"
#include "tests/support/FolderTree.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <cstdio>
#include <vector>

namespace
{

enum ExitCode { AllPassed, SomeFailed, NothingRun };

// Returns the filter of GoogleTest that names these tests alone.
std::wstring FilterOf(const std::vector<std::string>& names)
{
    std::wstring filter;
    for (const std::string& name : names)
        filter += (filter.empty() ? L"" : L":") + std::wstring(name.begin(), name.end());
    return filter;
}

ProgramResult RunProgram(const Kit& kit, const Options& options, const OrdinaryAccount& account,
                         const std::wstring& program)
{
    const std::filesystem::path work = kit.Work() / program, again = kit.Work() / (program + L"-admin");
    ProgramResult result =
        ProgramRun(kit.ProgramFile(program), work, account.Token()).Run(options.filter, options.limit);
    const std::vector<std::string> names = NeedAnAdministrator(result);
    if (account.Token() && !names.empty())
        TakeSecondRun(result, ProgramRun(kit.ProgramFile(program), again, nullptr).Run(FilterOf(names), options.limit));
    if (!options.keepsWork)
        for (const std::filesystem::path& folder : {work, again})
            RemoveTree(folder.wstring());
    return result;
}

void PrintResult(const ProgramResult& result)
{
    std::printf("%-22s %s in %.0f s\n", result.name.c_str(), Totals({result}).c_str(), result.seconds);
    for (const TestResult& test : result.tests)
        if (test.outcome == TestResult::Outcome::Failed)
            std::printf("  FAILED %s\n", test.name.c_str());
    std::fflush(stdout);
}

std::vector<ProgramResult> RunAll(const Kit& kit, const Options& options, const OrdinaryAccount& account,
                                  const KitDrives& drives)
{
    std::vector<ProgramResult> results;
    for (const std::wstring& program : options.programs.empty() ? kit.Programs() : options.programs) {
        results.push_back(RunProgram(kit, options, account, program));
        PrintResult(results.back());
        drives.Restore();
    }
    return results;
}

int Refuse(const std::string& why)
{
    std::fprintf(stderr, "error: %s\n", why.c_str());
    return NothingRun;
}

// Returns what is wrong with the names of programs; empty when nothing is.
std::string WrongProgram(const Kit& kit, const Options& options)
{
    for (const std::wstring& program : options.programs)
        if (!std::filesystem::exists(kit.ProgramFile(program)))
            return "there is no test program \"" + Narrow(program) + "\"; test-programs.txt names all";
    return kit.Programs().empty() ? "test-programs.txt is missing or empty" : "";
}

int CodeOf(const std::vector<ProgramResult>& results)
{
    int passed = 0;
    for (const ProgramResult& result : results) {
        if (result.Count(TestResult::Outcome::Failed) > 0)
            return SomeFailed;
        passed += result.Count(TestResult::Outcome::Passed);
    }
    return passed > 0 ? AllPassed : NothingRun;
}

int RunKit(const Kit& kit, const Options& options)
{
    const OrdinaryAccount account;
    MachineFacts facts = ReadMachineFacts(kit.Work());
    facts.push_back({"Runs as", account.Words()});
    std::vector<ProgramResult> results;
    {
        const KitDrives drives(kit.Work());
        if (!drives.Failure().empty())
            return Refuse(drives.Failure());
        SetEnvironmentVariableW(L"ORB_TEST_DRIVES", (kit.Work() / "drives").c_str());
        SetEnvironmentVariableW(L"ORB_TEST_SOURCES", kit.Sources().c_str());
        results = RunAll(kit, options, account, drives);
    }
    if (!kit.WriteReport("report.xml", JUnitReport(facts, results)) ||
        !kit.WriteReport("report.html", HtmlReport(facts, results)))
        return Refuse("the reports cannot be written");
    std::printf("report.xml and report.html are written\n%s\n", Totals(results).c_str());
    return CodeOf(results);
}

} // namespace

int wmain(int count, wchar_t** words)
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    const Options options = ReadOptions({words + 1, words + count});
    const Kit kit;
    if (options.wantsHelp)
        return std::printf("%s", OptionsHelp) < 0;
    if (!options.mistake.empty())
        return Refuse(options.mistake + "\n" + OptionsHelp);
    if (const std::string wrong = WrongProgram(kit, options); !wrong.empty())
        return Refuse(wrong);
    if (!kit.IsOnDriveC())
        return Refuse("the kit must be in a folder on drive C:, where the tests expect their files. Nothing was run.");
    if (!kit.MakeWork())
        return Refuse("the folder work cannot be made or emptied: error " + std::to_string(GetLastError()));
    int code = RunKit(kit, options);
    if (!options.keepsWork && !kit.RemoveWork()) {
        std::fprintf(stderr, "error: the folder work cannot be removed\n");
        code = code == AllPassed ? SomeFailed : code;
    }
    return code;
}
