#include "arvo/platform/image/VoxelBlock.h"

#include <cstdint>
#include <utility>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace image {

namespace {

constexpr std::size_t HUGE_PAGE = std::size_t(2) << 20;
constexpr std::size_t CACHE_LINE = 64;

} // namespace

VoxelBlock::VoxelBlock(VoxelBlock&& other) noexcept
    : m_data(std::move(other.m_data)),
      m_bytes(std::exchange(other.m_bytes, 0))
{
}

VoxelBlock& VoxelBlock::operator=(VoxelBlock&& other) noexcept
{
    m_data = std::move(other.m_data);
    m_bytes = std::exchange(other.m_bytes, 0);
    return *this;
}

VoxelBlock VoxelBlock::allocate(std::size_t bytes) noexcept
{
    const bool isLarge = bytes >= 2 * HUGE_PAGE;
    const std::size_t alignment = isLarge ? HUGE_PAGE : CACHE_LINE;
    VoxelBlock block;
    if (bytes > PTRDIFF_MAX - alignment)
        return block;
    const std::size_t rounded = (bytes / alignment + 1) * alignment;
    block.m_data.reset(static_cast<char*>(std::aligned_alloc(alignment, rounded)));
    if (!block.m_data)
        return block;
    block.m_bytes = bytes;
#ifdef __linux__
    if (isLarge)
        madvise(block.m_data.get(), rounded,
                MADV_HUGEPAGE); // advice only: a refusal costs time, not correctness
#endif
    return block;
}

} // namespace image
