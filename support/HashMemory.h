/// @file
/// Memory for the hash tables. By themselves they do not check whether they got memory, or they end the process when
/// they got none.
///
/// A table that grows stays as it was when the allocation throws. Its clear() does not: it frees its memory before it
/// allocates new memory. Use EmptyTable.
#pragma once

#include <sparsehash/internal/libc_allocator_with_realloc.h>

#include <exception>
#include <new>

/// An allocator that throws when memory runs out.
template <typename T>
struct HashMemory : google::libc_allocator_with_realloc<T> {
    /// The allocator that provides the memory.
    using Base = google::libc_allocator_with_realloc<T>;
    /// Names this allocator for another type.
    template <typename U>
    struct rebind {
        /// The allocator for that type.
        using other = HashMemory<U>;
    };

    HashMemory() = default;
    template <typename U>
    /// Copies nothing: the allocator has no state.
    HashMemory(const HashMemory<U>&)
    {
    }

    /// Returns memory, or throws std::bad_alloc.
    typename Base::pointer allocate(typename Base::size_type count, typename Base::const_pointer = nullptr)
    {
        const typename Base::pointer memory = Base::allocate(count);
        if (!memory)
            throw std::bad_alloc();
        return memory;
    }
};

/// Empties a dense table, and frees its memory where a small table can be allocated instead.
template <typename Table>
void EmptyTable(Table& table) noexcept
{
    table.clear_no_resize();
    try {
        Table fresh(table);
        table.swap(fresh);
    } catch (const std::exception&) {
        // The table keeps the memory that it has.
    }
}
