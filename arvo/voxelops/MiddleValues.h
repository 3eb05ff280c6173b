#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Finds the values at given ranks of a volume without sorting it.
///
/// A sample of the voxels tells between which two values the middle one can be expected. One pass then counts the voxels
/// below, at and between the two and keeps only those between: some 3 % of the volume. That settles the rank exactly,
/// unless the sample misled; then a second pass looks at the side that the rank turned out to be on. After
/// R. W. Floyd and R. L. Rivest, "Expected time bounds for selection", Comm. ACM 18, 1975.
namespace voxelops {

/// Two sort keys, low <= high.
struct KeyBracket {
    std::int32_t low = 0;
    std::int32_t high = 0;
};

/// Where the keys of some voxels lie in relation to a bracket.
struct KeyTally {
    std::int64_t below = 0;
    std::int64_t atLow = 0;
    std::int64_t atHigh = 0;
    std::int64_t total = 0;
    std::vector<std::int32_t>
        between; // low < key < high, in no particular order; or, where the bracket is narrow,
    std::vector<std::int64_t> at; // how many there are of low + 1, low + 2, ..., high - 1

    /// Adds the voxels of another tally of the same bracket.
    void add(const KeyTally& other);
};

/// The bracket in which the middle of the voxels can be expected; with `onlyNonZero`, of those that are not 0.
/// T: unsigned char, short, unsigned short or float. A few hundred KiB of memory.
template <class T> KeyBracket expectMiddle(const T* voxels, std::ptrdiff_t count, bool onlyNonZero);

/// Adds `count` voxels to the tally of a bracket; with `onlyNonZero` those that are 0 are left out.
template <class T>
void tallyRun(const T* voxels, std::ptrdiff_t count, const KeyBracket& bracket, bool onlyNonZero,
              KeyTally& tally);

/// The value at `rank` (from 0) of the tallied voxels in ascending order, or false and the bracket to tally next.
template <class T> bool findRank(KeyTally& tally, std::int64_t rank, KeyBracket& bracket, float& value);

} // namespace voxelops
