#pragma once

#include "fuzz/Bytes.h"
#include "trust/Operations.h"

/// The fuzz targets: one for each family of operations, and one for the volume itself.
///
/// An input is a few volumes (types, extents up to 12, voxels) and a list of calls on them: operation, volumes, numbers,
/// flag. What one call writes the next one reads. The process ends, with a message, at the first call that breaks a
/// promise of trust::brokenPromise() and at one that changes its volumes otherwise on one thread than on several.
namespace fuzz {

/// The operations of a target: what each of them defines. Those that take more than trust::Call holds read it from
/// `bytes`, which stands behind the call whenever one is made.
trust::Operations operationsReading(Bytes& bytes);

} // namespace fuzz
