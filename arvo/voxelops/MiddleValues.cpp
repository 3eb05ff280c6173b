#include "arvo/voxelops/MiddleValues.h"

#include "arvo/platform/utility/VectorClones.h"
#include "arvo/voxelops/SortKey.h"
#include "arvo/voxelops/VoxelCounts.h"

#include <algorithm>
#include <cmath>

namespace voxelops {

namespace {

constexpr std::ptrdiff_t BLOCK = 2048;

template <class T> constexpr bool isZeroKey(SortKey<T> key)
{
    if constexpr (std::is_floating_point_v<T>)
        return key == 0 || key == -1;
    else
        return key == 0;
}

/// Spreads the samples over the whole run, each at a scattered place of its own stretch, so that no period of the volume
/// (its rows, its slices) is met again and again.
std::ptrdiff_t samplePlace(std::ptrdiff_t sample, std::ptrdiff_t samples, std::ptrdiff_t count)
{
    const std::ptrdiff_t stretch = count / samples;
    // Bits mixed as in G. L. Steele et al., "Fast splittable pseudorandom number generators", OOPSLA 2014.
    auto scattered = static_cast<std::uint64_t>(sample) + 0x9e3779b97f4a7c15u;
    scattered = (scattered ^ (scattered >> 30)) * 0xbf58476d1ce4e5b9u;
    scattered = (scattered ^ (scattered >> 27)) * 0x94d049bb133111ebu;
    scattered ^= scattered >> 31;
    return sample * stretch + static_cast<std::ptrdiff_t>(scattered % static_cast<std::uint64_t>(stretch));
}

ARVO_VECTOR_CLONES void keysOf(const float* voxels, std::int32_t* keys, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        keys[i] = sortKeyOf(voxels[i]);
}

/// Appends the keys strictly between the two without a branch a key.
template <class Key>
std::ptrdiff_t keepBetween(const Key* keys, std::ptrdiff_t count, Key low, Key high, std::int32_t* kept)
{
    std::ptrdiff_t size = 0;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        kept[size] = keys[i];
        size += (keys[i] > low) & (keys[i] < high);
    }
    return size;
}

/// A bracket in which counting each key is faster than keeping the keys.
bool isNarrow(const KeyBracket& bracket)
{
    constexpr std::int64_t FEW = 16;
    return static_cast<std::int64_t>(bracket.high) - bracket.low <= FEW;
}

template <class T>
void tallyBetween(const SortKey<T>* keys, std::ptrdiff_t count, const KeyBracket& bracket, bool onlyNonZero,
                  KeyTally& tally)
{
    using Key = SortKey<T>;
    const auto isLeftOut = [=](std::int32_t key) {
        return onlyNonZero && isZeroKey<T>(static_cast<Key>(key));
    };
    if (isNarrow(bracket)) {
        tally.at.resize(static_cast<std::size_t>(bracket.high - bracket.low - 1));
        std::int32_t key = bracket.low;
        for (std::int64_t& number : tally.at) {
            if (!isLeftOut(++key))
                number += countEqual(keys, count, static_cast<Key>(key));
        }
        return;
    }
    std::int32_t kept[BLOCK];
    const auto low = static_cast<Key>(bracket.low);
    const auto high = static_cast<Key>(bracket.high);
    std::int32_t* end = kept + keepBetween(keys, count, low, high, kept);
    if (onlyNonZero)
        end = std::remove_if(kept, end, isLeftOut);
    tally.between.insert(tally.between.end(), kept, end);
}

template <class T>
void tallyBlock(const SortKey<T>* keys, std::ptrdiff_t count, const KeyBracket& bracket, bool onlyNonZero,
                KeyTally& tally)
{
    using Key = SortKey<T>;
    const auto low = static_cast<Key>(bracket.low);
    const auto high = static_cast<Key>(bracket.high);
    const std::int64_t atLow = countEqual(keys, count, low);
    const std::int64_t aboveLow = countAbove(keys, count, low);
    const std::int64_t atHigh = low == high ? 0 : countEqual(keys, count, high);
    const std::int64_t aboveHigh = low == high ? aboveLow : countAbove(keys, count, high);
    tally.below += count - atLow - aboveLow;
    tally.atLow += atLow;
    tally.atHigh += atHigh;
    tally.total += count;
    if (aboveLow > atHigh + aboveHigh)
        tallyBetween<T>(keys, count, bracket, onlyNonZero, tally);
    if (!onlyNonZero)
        return;
    const auto leaveOut = [&](Key zero) {
        const std::int64_t zeros = countEqual(keys, count, zero);
        tally.total -= zeros;
        if (zero < low)
            tally.below -= zeros;
        else if (zero == low)
            tally.atLow -= zeros;
        else if (zero == high)
            tally.atHigh -= zeros;
    };
    leaveOut(0);
    if constexpr (std::is_floating_point_v<T>)
        leaveOut(-1);
}

} // namespace

void KeyTally::add(const KeyTally& other)
{
    below += other.below;
    atLow += other.atLow;
    atHigh += other.atHigh;
    total += other.total;
    between.insert(between.end(), other.between.begin(), other.between.end());
    at.resize(std::max(at.size(), other.at.size()));
    for (std::size_t i = 0; i < other.at.size(); ++i)
        at[i] += other.at[i];
}

template <class T> KeyBracket expectMiddle(const T* voxels, std::ptrdiff_t count, bool onlyNonZero)
{
    constexpr std::ptrdiff_t LARGEST_SAMPLE = 16384;
    const std::ptrdiff_t samples = std::min(count, LARGEST_SAMPLE);
    std::vector<std::int32_t> keys;
    keys.reserve(static_cast<std::size_t>(samples));
    for (std::ptrdiff_t sample = 0; sample < samples; ++sample) {
        const SortKey<T> key = sortKeyOf(voxels[samplePlace(sample, samples, count)]);
        if (!onlyNonZero || !isZeroKey<T>(key))
            keys.push_back(key);
    }
    if (keys.empty())
        return {};
    // Four standard deviations of the rank of a sample's median: 0.5 sqrt(n) each.
    const auto size = static_cast<std::ptrdiff_t>(keys.size());
    const auto margin = static_cast<std::ptrdiff_t>(2.0 * std::sqrt(static_cast<double>(size))) + 1;
    const auto low = keys.begin() + std::max<std::ptrdiff_t>(size / 2 - margin, 0);
    const auto high = keys.begin() + std::min(size / 2 + margin, size - 1);
    std::nth_element(keys.begin(), low, keys.end());
    const std::int32_t lowKey = *low;
    std::nth_element(low, high, keys.end());
    return {lowKey, *high};
}

template <class T>
void tallyRun(const T* voxels, std::ptrdiff_t count, const KeyBracket& bracket, bool onlyNonZero,
              KeyTally& tally)
{
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK) {
        const std::ptrdiff_t size = std::min(BLOCK, count - begin);
        if constexpr (std::is_floating_point_v<T>) {
            std::int32_t keys[BLOCK];
            keysOf(voxels + begin, keys, size);
            tallyBlock<T>(keys, size, bracket, onlyNonZero, tally);
        } else {
            tallyBlock<T>(voxels + begin, size, bracket, onlyNonZero, tally);
        }
    }
}

template <class T> bool findRank(KeyTally& tally, std::int64_t rank, KeyBracket& bracket, float& value)
{
    using Limits = std::numeric_limits<SortKey<T>>;
    if (rank < tally.below) {
        bracket = {Limits::lowest(), bracket.low};
        return false;
    }
    rank -= tally.below;
    if (rank < tally.atLow) {
        value = valueOfSortKey<T>(bracket.low);
        return true;
    }
    rank -= tally.atLow;
    if (rank < std::ssize(tally.between)) {
        const auto at = tally.between.begin() + rank;
        std::nth_element(tally.between.begin(), at, tally.between.end());
        value = valueOfSortKey<T>(*at);
        return true;
    }
    rank -= std::ssize(tally.between);
    for (std::size_t i = 0; i < tally.at.size(); ++i) {
        if (rank < tally.at[i]) {
            value = valueOfSortKey<T>(bracket.low + 1 + static_cast<std::int32_t>(i));
            return true;
        }
        rank -= tally.at[i];
    }
    if (rank < tally.atHigh) {
        value = valueOfSortKey<T>(bracket.high);
        return true;
    }
    bracket = {bracket.high, Limits::max()};
    return false;
}

// clang-format off
template KeyBracket expectMiddle(const unsigned char*, std::ptrdiff_t, bool);
template KeyBracket expectMiddle(const short*, std::ptrdiff_t, bool);
template KeyBracket expectMiddle(const unsigned short*, std::ptrdiff_t, bool);
template KeyBracket expectMiddle(const float*, std::ptrdiff_t, bool);
template void tallyRun(const unsigned char*, std::ptrdiff_t, const KeyBracket&, bool, KeyTally&);
template void tallyRun(const short*, std::ptrdiff_t, const KeyBracket&, bool, KeyTally&);
template void tallyRun(const unsigned short*, std::ptrdiff_t, const KeyBracket&, bool, KeyTally&);
template void tallyRun(const float*, std::ptrdiff_t, const KeyBracket&, bool, KeyTally&);
template bool findRank<unsigned char>(KeyTally&, std::int64_t, KeyBracket&, float&);
template bool findRank<short>(KeyTally&, std::int64_t, KeyBracket&, float&);
template bool findRank<unsigned short>(KeyTally&, std::int64_t, KeyBracket&, float&);
template bool findRank<float>(KeyTally&, std::int64_t, KeyBracket&, float&);
// clang-format on

} // namespace voxelops
