#pragma once

#include <atomic>

namespace testing_support {

inline const std::atomic<bool> notCancelled{false};
inline const std::atomic<bool> cancelled{true}; ///< raised from the start

} // namespace testing_support
