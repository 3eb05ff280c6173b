#pragma once

#include "arvo/platform/math/Ivec3.h"
#include "trust/Operations.h"

#include <string>
#include <vector>

/// What every call must keep to, whatever it was handed.
namespace trust {

/// What a volume looks like: a missing one and an invalid one included.
struct Snapshot {
    math::Ivec3 size;
    int type = 0;
    bool isValid = false;
    std::vector<char> bytes;

    explicit Snapshot(const ArvoImage3D* image);
    bool operator==(const Snapshot&) const = default;
};

/// Makes the call on at most `threads` threads (0: no limit) and says which promise was broken, or nothing.
///
/// The promises: no exception escapes; a call without a volume that the operation needs logs one warning, unless the
/// operation is silent, and fails; a call that warned fails, as far as its answer tells, and leaves every volume as it
/// was; no volume is changed but those that the operation is there to change.
std::string brokenPromise(const Operation& operation, Call& call, int threads);

} // namespace trust
