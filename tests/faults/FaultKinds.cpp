// Which calls of the system belong together, and how each says no.
#include "tests/faults/FaultPlan.h"

#include <process.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace
{

// A function's name as part of a type.
template <std::size_t Size>
struct Name {
    char text[Size];
    constexpr Name(const char (&name)[Size]) { std::copy_n(name, Size, text); }
};

// From the system: in our import tables the stand-in itself may be.
void* Original(const char* name)
{
    for (const wchar_t* module : {L"kernel32.dll", L"user32.dll", L"advapi32.dll", L"msvcrt.dll", L"ntdll.dll"})
        if (const FARPROC function = GetProcAddress(GetModuleHandleW(module), name))
            return reinterpret_cast<void*>(function);
    return nullptr;
}

template <Name Function, std::intptr_t Refusal, typename Signature>
struct StandIn;
template <Name Function, std::intptr_t Refusal, typename Result, typename... Arguments>
struct StandIn<Function, Refusal, Result(Arguments...)> {
    static Result Call(Arguments... arguments)
    {
        static const auto original = reinterpret_cast<Result (*)(Arguments...)>(Original(Function.text));
        return FaultPlan::Refuses() ? (Result)(Refusal) : original(arguments...);
    }
    static FaultyCall Entry() { return {Function.text, reinterpret_cast<void*>(&Call)}; }
};

constexpr std::intptr_t InvalidHandle = -1;
constexpr std::intptr_t AllBits = -1;

// As the system's headers declare it, but for types of their own.
using NtCreateFileSignature = LONG NTAPI(PHANDLE, ACCESS_MASK, void*, void*, PLARGE_INTEGER, ULONG, ULONG, ULONG, ULONG,
                                         void*, ULONG);
constexpr std::intptr_t TooManyOpenedFiles = static_cast<LONG>(0xC000011F);
using CreateFileStandIn = StandIn<"CreateFileW", InvalidHandle, decltype(CreateFileW)>;

FaultKind Written(const char* name, DWORD error)
{
    return {name,
            error,
            {StandIn<"WriteFile", 0, decltype(WriteFile)>::Entry(),
             StandIn<"FlushFileBuffers", 0, decltype(FlushFileBuffers)>::Entry(),
             StandIn<"SetEndOfFile", 0, decltype(SetEndOfFile)>::Entry(),
             StandIn<"MoveFileExW", 0, decltype(MoveFileExW)>::Entry(),
             StandIn<"ReplaceFileW", 0, decltype(ReplaceFileW)>::Entry(),
             StandIn<"CreateDirectoryW", 0, decltype(CreateDirectoryW)>::Entry(),
             StandIn<"DeleteFileW", 0, decltype(DeleteFileW)>::Entry()}};
}

} // namespace

FaultKind Faults::Opening()
{
    return {"Opening",
            ERROR_TOO_MANY_OPEN_FILES,
            {CreateFileStandIn::Entry(), StandIn<"NtCreateFile", TooManyOpenedFiles, NtCreateFileSignature>::Entry(),
             StandIn<"_wfopen", 0, decltype(_wfopen)>::Entry(),
             StandIn<"FindFirstFileW", InvalidHandle, decltype(FindFirstFileW)>::Entry(),
             StandIn<"FindFirstFileExW", InvalidHandle, decltype(FindFirstFileExW)>::Entry()}};
}

FaultKind Faults::Reading()
{
    return {"Reading",
            ERROR_IO_DEVICE,
            {StandIn<"ReadFile", 0, decltype(ReadFile)>::Entry(), StandIn<"fread", 0, decltype(fread)>::Entry(),
             StandIn<"FindNextFileW", 0, decltype(FindNextFileW)>::Entry(),
             StandIn<"GetFileAttributesW", AllBits, decltype(GetFileAttributesW)>::Entry(),
             StandIn<"GetFileAttributesExW", 0, decltype(GetFileAttributesExW)>::Entry(),
             StandIn<"GetFileInformationByHandle", 0, decltype(GetFileInformationByHandle)>::Entry(),
             StandIn<"GetVolumeInformationW", 0, decltype(GetVolumeInformationW)>::Entry(),
             StandIn<"GetFileSize", AllBits, decltype(GetFileSize)>::Entry()}};
}

FaultKind Faults::Writing() { return Written("Writing", ERROR_WRITE_PROTECT); }
FaultKind Faults::Denied() { return Written("Denied", ERROR_ACCESS_DENIED); }
FaultKind Faults::FullDisk() { return Written("FullDisk", ERROR_DISK_FULL); }

FaultKind Faults::Mapping()
{
    return {"Mapping",
            ERROR_NOT_ENOUGH_MEMORY,
            {StandIn<"CreateFileMappingW", 0, decltype(CreateFileMappingW)>::Entry(),
             StandIn<"OpenFileMappingW", 0, decltype(OpenFileMappingW)>::Entry(),
             StandIn<"MapViewOfFile", 0, decltype(MapViewOfFile)>::Entry()}};
}

FaultKind Faults::ThreadStart()
{
    return {"ThreadStart",
            ERROR_NOT_ENOUGH_MEMORY,
            {StandIn<"CreateThread", 0, decltype(CreateThread)>::Entry(),
             StandIn<"_beginthreadex", 0, decltype(_beginthreadex)>::Entry()}};
}

FaultKind Faults::Memory()
{
    return {"Memory",
            ERROR_NOT_ENOUGH_MEMORY,
            {StandIn<"malloc", 0, void*(std::size_t)>::Entry(),
             StandIn<"realloc", 0, void*(void*, std::size_t)>::Entry(),
             StandIn<"calloc", 0, void*(std::size_t, std::size_t)>::Entry()},
            FaultKind::Threads::Own};
}

FaultKind Faults::MemoryElsewhere()
{
    FaultKind kind = Memory();
    kind.name = "MemoryElsewhere";
    kind.threads = FaultKind::Threads::Others;
    return kind;
}

FaultKind Faults::Posting()
{
    return {"Posting",
            ERROR_NO_SYSTEM_RESOURCES,
            {StandIn<"PostQueuedCompletionStatus", 0, decltype(PostQueuedCompletionStatus)>::Entry(),
             StandIn<"PostThreadMessageW", 0, decltype(PostThreadMessageW)>::Entry(),
             StandIn<"CreateIoCompletionPort", 0, decltype(CreateIoCompletionPort)>::Entry(),
             StandIn<"ReadDirectoryChangesW", 0, decltype(ReadDirectoryChangesW)>::Entry(),
             StandIn<"CreateEventW", 0, decltype(CreateEventW)>::Entry(),
             StandIn<"OpenEventW", 0, decltype(OpenEventW)>::Entry()}};
}
