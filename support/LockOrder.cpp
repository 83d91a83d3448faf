#include "support/LockOrder.h"

#ifdef ORB_LOCK_ORDER

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <new>
#include <set>

namespace LockOrder
{
namespace
{

struct Held {
    const void* lock;
    LockRank rank;
    const wchar_t* name;
    const void* site;
    int depth;
};

struct Edge {
    const void* outerSite;
    const void* innerSite;
};

std::wstring Place(const void* site)
{
    HMODULE module = nullptr;
    wchar_t file[MAX_PATH] = L"?";
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const wchar_t*>(site), &module))
        GetModuleFileNameW(module, file, MAX_PATH);
    const std::wstring path = file;
    wchar_t offset[32];
    _snwprintf(offset, 32, L"+0x%I64x",
               static_cast<unsigned __int64>(static_cast<const char*>(site) - reinterpret_cast<const char*>(module)));
    return path.substr(path.rfind(L'\\') + 1) + offset;
}

// The check itself. All calls are virtual, so that every module uses the code and the data of the module that made the
// object.
class Graph
{
public:
    virtual ~Graph() = default;

    virtual void Enter(const void* lock, LockRank rank, const wchar_t* name, const void* site)
    {
        const Guard guard(*this);
        std::vector<Held>& held = m_threads[GetCurrentThreadId()];
        const auto again = std::find_if(held.begin(), held.end(), [&](const Held& h) { return h.lock == lock; });
        if (again != held.end()) {
            ++again->depth;
            return;
        }
        for (const Held& outer : held)
            Note(outer, rank, name, site);
        held.push_back({lock, rank, name, site, 1});
    }

    virtual void Leave(const void* lock)
    {
        const Guard guard(*this);
        const auto thread = m_threads.find(GetCurrentThreadId());
        if (thread == m_threads.end())
            return;
        std::vector<Held>& held = thread->second;
        const auto found = std::find_if(held.begin(), held.end(), [&](const Held& h) { return h.lock == lock; });
        if (found == held.end() || --found->depth > 0)
            return;
        held.erase(found);
        if (held.empty())
            m_threads.erase(thread);
    }

    virtual std::vector<std::wstring> Reports()
    {
        const Guard guard(*this);
        return m_reports;
    }

    virtual void Clear()
    {
        const Guard guard(*this);
        m_reports.clear();
        m_edges.clear();
        m_reported.clear();
    }

    virtual bool IsInside() const { return m_inside == GetCurrentThreadId(); }

    virtual void RequireHeld(const void* lock, const wchar_t* name, const void* site)
    {
        const Guard guard(*this);
        const auto thread = m_threads.find(GetCurrentThreadId());
        if (thread == m_threads.end() || std::none_of(thread->second.begin(), thread->second.end(),
                                                      [&](const Held& held) { return held.lock == lock; }))
            Report(L"", name, L"lock not held: \"" + Class(name) + L"\" at " + Place(site));
    }

private:
    class Guard
    {
    public:
        explicit Guard(Graph& graph) : m_graph(graph)
        {
            AcquireSRWLockExclusive(&m_graph.m_lock);
            m_graph.m_inside = GetCurrentThreadId();
        }
        ~Guard()
        {
            m_graph.m_inside = 0;
            ReleaseSRWLockExclusive(&m_graph.m_lock);
        }

    private:
        Graph& m_graph;
    };
    using Class = std::wstring;

    void Note(const Held& outer, LockRank rank, const wchar_t* name, const void* site)
    {
        const Class from = outer.name;
        const Class to = name;
        const bool ranked = outer.rank != LockRank::Unranked && rank != LockRank::Unranked;
        if (ranked && outer.rank > rank)
            Report(from, to,
                   L"lock order: \"" + to + L"\" (" + Place(site) + L") asked for inside \"" + from + L"\" (" +
                       Place(outer.site) + L")");
        if (from == to || !m_edges[from].emplace(to, Edge{outer.site, site}).second)
            return;
        std::vector<Class> path;
        std::set<Class> seen;
        if (FindPath(to, from, path, seen))
            Report(from, to, L"lock circle: " + Describe(from, to, path));
    }

    bool FindPath(const Class& from, const Class& to, std::vector<Class>& path, std::set<Class>& seen)
    {
        path.push_back(from);
        if (from == to)
            return true;
        if (seen.insert(from).second)
            for (const auto& [next, edge] : m_edges[from])
                if (FindPath(next, to, path, seen))
                    return true;
        path.pop_back();
        return false;
    }

    std::wstring Describe(const Class& from, const Class& to, const std::vector<Class>& path)
    {
        const Edge& here = m_edges[from][to];
        std::wstring text =
            L"\"" + from + L"\" (" + Place(here.outerSite) + L") then \"" + to + L"\" (" + Place(here.innerSite) + L")";
        for (std::size_t i = 0; i + 1 < path.size(); ++i) {
            const Edge& edge = m_edges[path[i]][path[i + 1]];
            text += L", but \"" + path[i] + L"\" (" + Place(edge.outerSite) + L") then \"" + path[i + 1] + L"\" (" +
                    Place(edge.innerSite) + L")";
        }
        return text;
    }

    void Report(const Class& from, const Class& to, const std::wstring& text)
    {
        if (!m_reported.emplace(from, to).second)
            return;
        m_reports.push_back(text);
        std::fwprintf(stderr, L"%ls\n", text.c_str());
    }

    SRWLOCK m_lock = SRWLOCK_INIT;
    std::atomic<DWORD> m_inside{0}; // the thread that holds m_lock
    std::map<DWORD, std::vector<Held>> m_threads;
    std::map<Class, std::map<Class, Edge>> m_edges;
    std::set<std::pair<Class, Class>> m_reported;
    std::vector<std::wstring> m_reports;
};

// Returns the check that all modules share. The first module of the process publishes its graph in a small block of
// shared memory that has the process's number in its name; the others find it there. Block and graph live as long as
// the process.
Graph* Shared()
{
    static Graph* const graph = [] {
        wchar_t name[64];
        _snwprintf(name, 64, L"OrbLockOrder-%lu", GetCurrentProcessId());
        const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 64, name);
        auto* slot = static_cast<Graph* volatile*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 64));
        // Never destroyed, and not on the heap: a test may let allocations fail before a module takes its first lock.
        alignas(Graph) static std::byte room[sizeof(Graph)];
        auto* mine = new (room) Graph;
        const PVOID theirs = InterlockedCompareExchangePointer(reinterpret_cast<PVOID volatile*>(slot), mine, nullptr);
        if (!theirs)
            return mine;
        return static_cast<Graph*>(theirs);
    }();
    return graph;
}

} // namespace

void Entering(const void* lock, LockRank rank, const wchar_t* name, const void* site) noexcept
{
    Shared()->Enter(lock, rank, name, site);
}
void Left(const void* lock) noexcept { Shared()->Leave(lock); }

void RequireHeld(const void* lock, const wchar_t* name, const void* site) noexcept
{
    Shared()->RequireHeld(lock, name, site);
}
std::vector<std::wstring> Reports() { return Shared()->Reports(); }
void Clear() { Shared()->Clear(); }
bool IsAtWork() { return Shared()->IsInside(); }

} // namespace LockOrder

#endif
