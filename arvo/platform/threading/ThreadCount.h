#pragma once

#include "arvo/platform/Export.h"

#include <utility>

namespace threading {

/// Limits the threads that any operation of the library uses, in the whole process; 0 or less lifts the limit.
ARVO_PLATFORM_EXPORT void setThreadLimit(int count);

/// The number of threads worth starting: the processors this process may run on, or the limit if that is lower.
ARVO_PLATFORM_EXPORT int idealThreadCount();

/// Splits `numItems` into equal ranges: (workers, items per worker) with workers * items >= numItems.
///
/// At most `idealThreadCount()` workers, none of them without items; (0, 0) when there are no items.
ARVO_PLATFORM_EXPORT std::pair<int, int> calculateNumThreads(int numItems);

} // namespace threading
