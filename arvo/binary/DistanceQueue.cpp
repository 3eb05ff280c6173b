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
    if (chain.last)
        chain.last->next = block;
    else
        chain.first = block;
    chain.last = block;
    chain.end = 0;
}

void DistanceQueue::dropFirst(Chain& chain)
{
    Block* block = std::exchange(chain.first, chain.first->next);
    if (!chain.first)
        chain.last = nullptr;
    chain.begin = 0;
    block->next = std::exchange(m_unused, block);
}

} // namespace binary
