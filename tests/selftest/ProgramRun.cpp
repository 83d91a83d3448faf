#include "tests/selftest/ProgramRun.h"

#include "support/Handle.h"
#include "tests/support/EnvironmentText.h"
#include "tests/support/FolderTree.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace
{

constexpr int MostRuns = 3;

// All processes of one run. They end with the object, whoever started them.
class Job
{
public:
    Job() : m_job(CreateJobObjectW(nullptr, nullptr))
    {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(m_job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    ~Job() { End(); }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    bool Add(HANDLE process) const { return AssignProcessToJobObject(m_job.Get(), process) != FALSE; }
    // Waits until the processes are gone, so that their files can be removed; ten seconds at most.
    void End() const
    {
        TerminateJobObject(m_job.Get(), 1);
        const ULONGLONG end = GetTickCount64() + 10000;
        JOBOBJECT_BASIC_ACCOUNTING_INFORMATION now = {};
        while (QueryInformationJobObject(m_job.Get(), JobObjectBasicAccountingInformation, &now, sizeof now, nullptr) &&
               now.ActiveProcesses > 0 && GetTickCount64() < end)
            Sleep(10);
    }

private:
    const KernelHandle m_job;
};

// A variable of the environment, for the programs that are started meanwhile.
class Variable
{
public:
    Variable(const wchar_t* name, const std::filesystem::path& value) : m_name(name), m_before(EnvironmentText(name))
    {
        SetEnvironmentVariableW(name, value.c_str());
    }
    ~Variable() { SetEnvironmentVariableW(m_name, m_before.empty() ? nullptr : m_before.c_str()); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const wchar_t* const m_name;
    const std::wstring m_before;
};

FileHandle OpenInherited(const std::filesystem::path& path, DWORD access, DWORD disposition)
{
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return FileHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, disposition,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

// A console of its own: what a test does to its console does not concern the runner.
KernelHandle Start(HANDLE token, std::wstring line, const std::filesystem::path& folder, STARTUPINFOW& start,
                   const Job& job)
{
    constexpr DWORD flags = CREATE_SUSPENDED | CREATE_NO_WINDOW;
    PROCESS_INFORMATION process = {};
    const BOOL started = token ? CreateProcessAsUserW(token, nullptr, line.data(), nullptr, nullptr, TRUE, flags,
                                                      nullptr, folder.c_str(), &start, &process)
                               : CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr,
                                                folder.c_str(), &start, &process);
    if (!started)
        throw std::runtime_error("cannot be started: error " + std::to_string(GetLastError()));
    KernelHandle running(process.hProcess);
    const KernelHandle thread(process.hThread);
    if (!job.Add(running.Get())) {
        TerminateProcess(running.Get(), 1);
        throw std::runtime_error("cannot be put into a job: error " + std::to_string(GetLastError()));
    }
    ResumeThread(thread.Get());
    return running;
}

std::string CodeText(DWORD code)
{
    char text[32];
    std::snprintf(text, sizeof text, code > 0xFFFF ? "0x%08lX" : "%lu", code);
    return text;
}

// The last lines are enough to see what a program was about.
std::string LastLines(const std::string& text, int count)
{
    std::size_t begin = text.size();
    while (count-- > 0 && begin > 0 && begin != std::string::npos)
        begin = text.rfind('\n', begin - 1);
    return begin == std::string::npos ? text : text.substr(begin);
}

} // namespace

ProgramRun::ProgramRun(std::filesystem::path program, std::filesystem::path work, HANDLE token)
    : m_program(std::move(program)),
      m_work(std::move(work)),
      m_token(token)
{
}

// Wine now and then loses its server before a program has begun. That says nothing of the program.
ProgramResult ProgramRun::Run(const std::wstring& filter, DWORD limit)
{
    const ULONGLONG begin = GetTickCount64();
    RecordedRun run;
    ProgramEnd end;
    const auto failsToBegin = [&] { return !run.begun && end.inTime && end.exitCode != 0; };
    for (int attempt = 0; attempt == 0 || (attempt < MostRuns && failsToBegin()); ++attempt) {
        RemoveTree(m_work.wstring()); // what an earlier attempt has left
        end = RunOnce(filter, limit);
        std::ifstream records(m_work / "records");
        run = ReadRecords(records);
    }
    end.output = EndOfOutput();
    ProgramResult result = JudgeRun(m_program.stem().string(), std::move(run), end);
    result.seconds = static_cast<double>(GetTickCount64() - begin) / 1000;
    return result;
}

ProgramEnd ProgramRun::RunOnce(const std::wstring& filter, DWORD limit)
{
    // A short name: tests make long paths below it.
    const std::filesystem::path temp = m_work / "t";
    std::filesystem::create_directories(temp);
    const Variable tempFolder(L"TEMP", temp), tmpFolder(L"TMP", temp), records(L"ORB_TEST_RECORDS", m_work / "records");

    const FileHandle output = OpenInherited(m_work / "output", GENERIC_WRITE, CREATE_ALWAYS);
    const FileHandle input = OpenInherited("NUL", GENERIC_READ, OPEN_EXISTING);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input.Get();
    start.hStdOutput = start.hStdError = output.Get();
    std::wstring line = L"\"" + m_program.wstring() + L"\" --gtest_color=no";
    if (!filter.empty())
        line += L" \"--gtest_filter=" + filter + L"\"";

    ProgramEnd end;
    try {
        const Job job;
        const KernelHandle process = Start(m_token, line, m_program.parent_path(), start, job);
        end.inTime = WaitForSingleObject(process.Get(), limit * 1000) == WAIT_OBJECT_0;
        DWORD code = 1;
        GetExitCodeProcess(process.Get(), &code);
        end.exitCode = code;
        end.ending =
            end.inTime ? "ended with code " + CodeText(code) : "was ended after " + std::to_string(limit) + " seconds";
    } catch (const std::runtime_error& failure) {
        end.exitCode = 1;
        end.ending = failure.what();
    }
    return end;
}

std::string ProgramRun::EndOfOutput() const
{
    std::ifstream file(m_work / "output", std::ios::binary);
    return LastLines({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}, 20);
}
