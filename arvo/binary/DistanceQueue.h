#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace binary {

/// A queue of voxels: the one with the greatest distance first, among equal distances the one that came
/// first.
///
/// One chain of blocks per distance, so that pushing and taking cost the same however many wait. Memory is 8
/// bytes for each waiting voxel, rounded up to blocks; emptied blocks are used again. Out of memory:
/// std::bad_alloc.
class DistanceQueue {
public:
    using Voxel = std::uint64_t;

    struct Entry {
        Voxel voxel;
        int distance;
    };

    bool isEmpty() const { return m_size == 0; }

    void push(int distance, Voxel voxel)
    {
        const auto at = static_cast<std::size_t>(distance);
        if (at >= m_chains.size())
            m_chains.resize(at + 1);
        Chain& chain = m_chains[at];
        if (!chain.last || chain.end == BLOCK_SIZE)
            append(chain);
        chain.last->voxels[chain.end++] = voxel;
        m_top = at > m_top ? at : m_top;
        ++m_size;
    }

    /// Takes the first voxel of a queue that is not empty.
    Entry take()
    {
        while (!m_chains[m_top].first)
            --m_top;
        Chain& chain = m_chains[m_top];
        const Entry entry{chain.first->voxels[chain.begin++], static_cast<int>(m_top)};
        --m_size;
        if (chain.begin == (chain.first == chain.last ? chain.end : BLOCK_SIZE))
            dropFirst(chain);
        return entry;
    }

private:
    static constexpr std::size_t BLOCK_SIZE = 510; // a block fills 4 KiB

    struct Block {
        Block* next;
        std::array<Voxel, BLOCK_SIZE> voxels;
    };

    /// Waiting voxels: from `begin` of the first block to before `end` of the last; no blocks when none wait.
    struct Chain {
        Block* first = nullptr;
        Block* last = nullptr;
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    void append(Chain& chain);
    void dropFirst(Chain& chain);

    std::vector<Chain> m_chains; // one for each distance
    std::size_t m_top = 0;       // no voxel waits at a greater distance
    std::size_t m_size = 0;
    Block* m_unused = nullptr;
    std::vector<std::unique_ptr<Block>> m_blocks;
};

} // namespace binary
