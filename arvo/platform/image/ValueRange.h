#pragma once

#include "arvo/platform/image/DataType.h"
#include "arvo/platform/math/Range.h"

#include <cstddef>

namespace image {

/// The smallest and the largest of `count` elements of that type at `data`, NaN left out, a zero bound as +0;
/// (0, 0) when there is no number among them.
math::Range<double> valueRangeOf(const char* data, std::size_t count, DataType type);

} // namespace image
