#include "arvo/binary/LabelledRuns.h"

#include "arvo/binary/MaskRowBits.h"

#include <type_traits>

namespace binary {

namespace {

constexpr std::ptrdiff_t VECTOR_BYTES = 16;

/// Writes `value` to at least the elements from `from` to before `to`, in whole vectors: at most VECTOR_BYTES are
/// written past the end.
template <class T> ARVO_KERNEL void fillVectors(T* from, const T* to, T value)
{
    constexpr std::ptrdiff_t count = VECTOR_BYTES / static_cast<std::ptrdiff_t>(sizeof(T));
    using Vector [[gnu::vector_size(VECTOR_BYTES)]] = T;
    const Vector all = value - Vector{};
    for (; from < to; from += count)
        std::memcpy(from, &all, sizeof all);
}

/// Writes the value of each run from its first voxel up to the next run. What is left in the gaps is of no interest.
template <class T>
ARVO_VECTOR_CLONES const std::uint16_t* spreadValues(const RowWord* words, std::ptrdiff_t width,
                                                     const std::uint16_t* labels, const T* valueOfLabel,
                                                     T* spread)
{
    T* from = spread;
    T value{};
    for (std::ptrdiff_t w = 0; w < wordsOfRow(width); ++w) {
        T* word = spread + w * WORD_BITS;
        forEachBit(words[w].begins, [&](std::ptrdiff_t i) {
            fillVectors(from, word + i, value);
            from = word + i;
            value = valueOfLabel[*labels++];
        });
    }
    fillVectors(from, spread + width, value);
    return labels;
}

/// Takes the spread value where the mask byte is not 0 (`invert`: where it is 0), elsewhere the background value.
template <class T>
ARVO_VECTOR_CLONES void takeWhereSet(const unsigned char* mask, bool invert, const T* spread, T background,
                                     T* out, std::ptrdiff_t count)
{
#pragma GCC ivdep // out is the mask itself or apart from it
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const T value = spread[i];
        out[i] = (mask[i] == 0) == invert ? value : background;
    }
}

template <class T>
ARVO_VECTOR_CLONES void takeOverWhereSet(const unsigned char* mask, bool invert, const T* spread, T* out,
                                         std::ptrdiff_t count)
{
#pragma GCC ivdep
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const T value = spread[i];
        const T old = out[i];
        out[i] = (mask[i] == 0) == invert ? value : old;
    }
}

ARVO_VECTOR_CLONES std::size_t packMaskRow(const unsigned char* bytes, std::ptrdiff_t width, bool invert,
                                           RowWord* row)
{
    return packRow(bytes, width, invert, 0, row);
}

} // namespace

template <bool Over, class T>
bool LabelledRuns::paintRows(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel,
                             const std::atomic<bool>* cancel) const
{
    const std::ptrdiff_t width = m_mask.width();
    std::vector<RowWord> words(static_cast<std::size_t>(wordsOfRow(width)));
    std::vector<T> spread(static_cast<std::size_t>(width + VECTOR_BYTES));
    const T background = valueOfLabel[0];
    const std::uint16_t* labels = m_labels.data();
    for (std::ptrdiff_t row = 0; row < m_mask.height() * m_mask.depth(); ++row) {
        if (cancel && cancel->load(std::memory_order_relaxed))
            return false;
        const unsigned char* bytes = m_mask.data() + row * width;
        T* outRow = out.data() + row * width;
        if (packMaskRow(bytes, width, m_isInverted, words.data()) == 0) {
            if constexpr (!Over)
                std::fill_n(outRow, width, background);
            continue;
        }
        labels = spreadValues(words.data(), width, labels, valueOfLabel.data(), spread.data());
        if constexpr (Over)
            takeOverWhereSet(bytes, m_isInverted, spread.data(), outRow, width);
        else
            takeWhereSet(bytes, m_isInverted, spread.data(), background, outRow, width);
    }
    return true;
}

template <class T>
bool LabelledRuns::paint(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel,
                         const std::atomic<bool>* cancel) const
{
    return paintRows<false>(out, valueOfLabel, cancel);
}

template <class T>
void LabelledRuns::paintOver(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel) const
{
    paintRows<true>(out, valueOfLabel, nullptr);
}

template bool LabelledRuns::paint(const frame::VolumeView<short>&, const std::vector<short>&,
                                  const std::atomic<bool>*) const;
template bool LabelledRuns::paint(const frame::VolumeView<unsigned char>&, const std::vector<unsigned char>&,
                                  const std::atomic<bool>*) const;
template void LabelledRuns::paintOver(const frame::VolumeView<short>&, const std::vector<short>&) const;

} // namespace binary
