#pragma once

#include <cstddef>

/// The process's resident memory, as Linux accounts it; zeros where it does not.
namespace bench {

/// Starts a new high-water mark at the resident size of this moment, which is returned, in bytes.
std::size_t resetPeakMemory();
/// The high-water mark since the reset, in bytes.
std::size_t peakMemory();

} // namespace bench
