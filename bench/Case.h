// One case of the benchmarks: what it is called, and what it runs. Cases know of themselves; the program finds them by
// name and runs one in a process of its own, so that none finds the memory or the caches of another.
#pragma once

#include <string>
#include <vector>

class Case
{
public:
    // `run` prints its results (Result.h). A case lives as long as the program.
    Case(const char* name, void (*run)());

    const char* Name() const { return m_name; }
    void Run() const { m_run(); }

    // By name.
    static std::vector<const Case*> All();
    static const Case* Find(const std::string& name);

private:
    const char* m_name;
    void (*m_run)();
};
