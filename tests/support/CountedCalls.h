// Counts the calls that modules of this process make of the functions of Windows, by the name of the function, for as
// long as it lives. Any thread may make the calls.
//
// In the import table of a module, each function of these libraries is replaced by a few instructions that count, and
// then jump to the function. Variables that a module imports are of no such library.
#pragma once

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

class CountedCalls
{
public:
    using Counts = std::map<std::string, std::uint64_t>;

    // Null names the test program itself. The modules must be loaded. Throws std::bad_alloc.
    explicit CountedCalls(std::initializer_list<const wchar_t*> modules);
    ~CountedCalls();
    CountedCalls(const CountedCalls&) = delete;
    CountedCalls& operator=(const CountedCalls&) = delete;

    // Returns the calls since the counting began.
    Counts Now() const;

private:
    struct Counter; // the instructions, the count and the function

    // One place of an import table.
    struct Import {
        ULONG_PTR* place;
        std::string name;
    };

    void Collect(std::byte* module);
    static void Put(ULONG_PTR* place, ULONG_PTR function);

    std::vector<Import> m_imports;
    Counter* m_counters = nullptr; // as many, in executable memory
};
