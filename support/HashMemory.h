/// @file
/// Memory for the hash tables, which by themselves do not ask whether they got any, or end the process when not.
///
/// A table that grows stays as it was when that throws. Its clear() does not: it gives its memory back before it asks
/// for new. Use EmptyTable.
#pragma once

#include <sparsehash/internal/libc_allocator_with_realloc.h>

#include <exception>
#include <new>

/// The memory of a table, which throws where there is none.
template <typename T>
struct HashMemory : google::libc_allocator_with_realloc<T> {
    /// Where the memory comes from.
    using Base = google::libc_allocator_with_realloc<T>;
    /// The same for another type.
    template <typename U>
    struct rebind {
        /// That memory.
        using other = HashMemory<U>;
    };

    HashMemory() = default;
    template <typename U>
    /// It has no state.
    HashMemory(const HashMemory<U>&)
    {
    }

    /// Throws std::bad_alloc.
    typename Base::pointer allocate(typename Base::size_type count, typename Base::const_pointer = nullptr)
    {
        const typename Base::pointer memory = Base::allocate(count);
        if (!memory)
            throw std::bad_alloc();
        return memory;
    }
};

/// Empties a dense table, and gives its memory back where a small one can be had.
template <typename Table>
void EmptyTable(Table& table) noexcept
{
    table.clear_no_resize();
    try {
        Table fresh(table);
        table.swap(fresh);
    } catch (const std::exception&) {
        // It keeps what it has.
    }
}
