// An array that grows without moving its elements. It consists of large blocks, so that a look-up finds its place in
// two steps; the first one usually hits a cache of the processor.
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

template <typename T>
class BlockArray
{
public:
    std::size_t Size() const { return m_size; }
    T& operator[](std::size_t index) { return m_blocks[index / blockSize][index % blockSize]; }
    const T& operator[](std::size_t index) const { return m_blocks[index / blockSize][index % blockSize]; }

    // Adds one element, equal to T{}; returns its index. When std::bad_alloc is thrown, nothing has changed.
    std::size_t Add()
    {
        if (m_size == m_blocks.size() * blockSize)
            m_blocks.push_back(std::make_unique<T[]>(blockSize));
        return m_size++;
    }

private:
    static constexpr std::size_t blockSize = 1024;

    std::vector<std::unique_ptr<T[]>> m_blocks;
    std::size_t m_size = 0;
};
