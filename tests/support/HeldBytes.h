// Counts the bytes of the blocks that the test program, with operator new, takes and gives back while the object lives.
// A heap may keep blocks that were given back, and show them as used; this does not count them. Any thread may take
// blocks.
#pragma once

#include "tests/support/ImportedCall.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <vector>

class HeldBytes
{
public:
    HeldBytes()
    {
        for (const wchar_t* module : {static_cast<const wchar_t*>(nullptr), L"libstdc++-6.dll"}) { // operator new
            Hook(module, "malloc", &Take);
            Hook(module, "calloc", &TakeZeros);
            Hook(module, "realloc", &Resize);
            Hook(module, "free", &GiveBack);
        }
        s_bytes = 0;
    }
    // Returns the bytes that were taken since the object began, without those that were given back. They may have been
    // taken before, so that the number may be negative.
    std::int64_t Now() const { return s_bytes; }

private:
    template <typename Function>
    static Function* Original(const char* name)
    {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
    }
    static void* Count(void* block)
    {
        s_bytes += block ? static_cast<std::int64_t>(_msize(block)) : 0;
        return block;
    }
    static void Discount(void* block) { s_bytes -= block ? static_cast<std::int64_t>(_msize(block)) : 0; }

    static void* Take(std::size_t bytes) { return Count(s_malloc(bytes)); }
    static void* TakeZeros(std::size_t count, std::size_t bytes) { return Count(s_calloc(count, bytes)); }
    static void* Resize(void* block, std::size_t bytes)
    {
        Discount(block);
        return Count(s_realloc(block, bytes));
    }
    static void GiveBack(void* block)
    {
        Discount(block);
        s_free(block);
    }

    static inline std::atomic<std::int64_t> s_bytes{0};
    static inline const auto s_malloc = Original<decltype(malloc)>("malloc");
    static inline const auto s_calloc = Original<decltype(calloc)>("calloc");
    static inline const auto s_realloc = Original<decltype(realloc)>("realloc");
    static inline const auto s_free = Original<decltype(free)>("free");
    // Not every module makes every call.
    template <typename Function>
    void Hook(const wchar_t* module, const char* name, Function* replacement)
    {
        if (ImportedCall::IsMade(module, name))
            m_calls.push_back(std::make_unique<ImportedCall>(module, name, replacement));
    }

    std::vector<std::unique_ptr<ImportedCall>> m_calls;
};
