#include "arvo/binary/DistanceQueue.h"

#include <memory>
#include <utility>

namespace binary {

void DistanceQueue::append(Chain& chain)
{
    Block* block = m_unused;
    if (block)
        m_unused = block->next;
    else
        block = m_blocks.emplace_back(std::make_unique_for_overwrite<Block>()).get();
    block->next = nullptr;
    if (chain.last) {
        chain.last->next = block;
    } else {
        chain.first = block;
        chain.begin = block->voxels.data();
        chain.firstEnd = chain.begin + BLOCK_SIZE;
    }
    chain.last = block;
    chain.end = block->voxels.data();
    chain.lastEnd = chain.end + BLOCK_SIZE;
}

void DistanceQueue::dropFirst(Chain& chain)
{
    Block* block = std::exchange(chain.first, chain.first->next);
    block->next = std::exchange(m_unused, block);
    if (chain.first) {
        chain.begin = chain.first->voxels.data();
        chain.firstEnd = chain.begin + BLOCK_SIZE;
    } else {
        chain = {};
    }
}

} // namespace binary
