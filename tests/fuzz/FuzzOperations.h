#pragma once

#include "trust/Operations.h"

namespace fuzz {

/// What a target calls: each defines it for its own folder of the library.
const std::vector<trust::Operation>& fuzzedOperations();

} // namespace fuzz
