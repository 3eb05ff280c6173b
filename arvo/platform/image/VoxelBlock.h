#pragma once

#include "arvo/platform/Export.h"

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace image {

/// The memory of one image: movable, uninitialised, possibly absent.
///
/// Blocks of 4 MiB and more lie on 2 MiB boundaries and are advised as huge pages: the first touch of fresh memory on
/// 4 KiB pages costs more than most voxel-wise operations.
class ARVO_PLATFORM_EXPORT VoxelBlock {
public:
    VoxelBlock() = default;
    /// `other` is absent afterwards.
    /// @{
    VoxelBlock(VoxelBlock&& other) noexcept;
    VoxelBlock& operator=(VoxelBlock&& other) noexcept;
    /// @}

    /// A block of that many bytes (0 is a block too), or an absent one when the memory cannot be had.
    static VoxelBlock allocate(std::size_t bytes) noexcept;

    /// Whether there is a block.
    explicit operator bool() const { return m_data != nullptr; }
    /// Its first byte; null when absent.
    /// @{
    char* data() { return m_data.get(); }
    const char* data() const { return m_data.get(); }
    /// @}
    /// The bytes that were asked for; 0 when absent.
    std::size_t bytes() const { return m_bytes; }

private:
    struct Free {
        void operator()(char* memory) const { std::free(memory); }
    };

    std::unique_ptr<char, Free> m_data;
    std::size_t m_bytes = 0;
};

} // namespace image
