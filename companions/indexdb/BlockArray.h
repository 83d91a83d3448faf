// An array that grows without moving its elements, and uses released ones again. It consists of large blocks, so that a
// look-up finds its place in two steps; the first one usually hits a cache of the processor.
//
// Not locked: the owner guards it, also for look-ups.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

template <typename T>
class BlockArray
{
public:
    // Counts the released elements, too.
    std::size_t Size() const { return m_size; }
    T& operator[](std::size_t index) { return m_blocks[index / blockSize][index % blockSize]; }
    const T& operator[](std::size_t index) const { return m_blocks[index / blockSize][index % blockSize]; }

    // Returns the index of an element that is equal to T{}. When std::bad_alloc is thrown, nothing has changed.
    std::uint32_t Take()
    {
        if (!m_released.empty()) {
            const std::uint32_t index = m_released.back();
            m_released.pop_back();
            return index;
        }
        if (m_size == m_blocks.size() * blockSize)
            m_blocks.push_back(std::make_unique<T[]>(blockSize));
        return static_cast<std::uint32_t>(m_size++);
    }
    void Release(std::uint32_t index)
    {
        (*this)[index] = {};
        m_released.push_back(index);
    }

private:
    static constexpr std::size_t blockSize = 1024;

    std::vector<std::unique_ptr<T[]>> m_blocks;
    std::size_t m_size = 0;
    std::vector<std::uint32_t> m_released;
};
