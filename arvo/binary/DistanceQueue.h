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

    /// For distances from 0 to `greatest`.
    explicit DistanceQueue(int greatest) : m_chains(static_cast<std::size_t>(greatest) + 1) {}

    void push(int distance, Voxel voxel)
    {
        const auto at = static_cast<std::size_t>(distance);
        Chain& chain = m_chains[at];
        if (chain.end == chain.lastEnd)
            append(chain);
        *chain.end++ = voxel;
        // A branch, not a maximum: guessed right, the next voxel is taken before this distance is known.
        if (at > m_top) [[unlikely]]
            m_top = at;
    }

    /// Whether no voxel waits. To be asked before each take().
    bool isEmpty()
    {
        while (m_chains[m_top].begin == m_chains[m_top].end) {
            if (m_top == 0)
                return true;
            --m_top;
        }
        return false;
    }

    /// Takes the first voxel of a queue that isEmpty() found to have one.
    Entry take()
    {
        Chain& chain = m_chains[m_top];
        const Entry entry{*chain.begin++, static_cast<int>(m_top)};
        if (chain.begin == chain.firstEnd)
            dropFirst(chain);
        return entry;
    }

private:
    static constexpr std::size_t BLOCK_SIZE = 511; // a block fills 4 KiB

    struct Block {
        std::array<Voxel, BLOCK_SIZE> voxels;
        Block* next;
    };

    /// Waiting voxels: from `begin` in the first block to before `end` in the last one. All null without blocks.
    struct Chain {
        Voxel* begin = nullptr;
        Voxel* firstEnd = nullptr; // of the first block
        Voxel* end = nullptr;
        Voxel* lastEnd = nullptr; // of the last block
        Block* first = nullptr;
        Block* last = nullptr;
    };

    void append(Chain& chain);
    void dropFirst(Chain& chain);

    std::vector<Chain> m_chains; // one for each distance
    std::size_t m_top = 0;       // no voxel waits at a greater distance
    Block* m_unused = nullptr;
    std::vector<std::unique_ptr<Block>> m_blocks;
};

} // namespace binary
