#include "arvo/binary/LabelledRuns.h"

#include "arvo/binary/MaskRowBits.h"
#include "arvo/binary/ProvisionalLabels.h"

#include <QtGlobal>

#include <new>
#include <tuple>
#include <utility>

namespace binary {

namespace {

/// The rows of one slice as bits, inside a border of unset words and rows, so that every row has its neighbours.
class SliceRows {
public:
    SliceRows(std::ptrdiff_t width, std::ptrdiff_t height)
        : m_stride(wordsOfRow(width) + 2),
          m_words(static_cast<std::size_t>(m_stride * (height + 2))),
          m_isPastLimit(static_cast<std::size_t>(height + 2), true)
    {
    }

    /// Word 0 of row y; words -1 and one past the last can be read too, and rows -1 and one past the last.
    RowWord* row(std::ptrdiff_t y) { return m_words.data() + (y + 1) * m_stride + 1; }
    /// Whether every run of the row is known to belong to the part of the last label.
    unsigned char& isPastLimit(std::ptrdiff_t y) { return m_isPastLimit[static_cast<std::size_t>(y + 1)]; }

private:
    std::ptrdiff_t m_stride;
    std::vector<RowWord> m_words;
    std::vector<unsigned char> m_isPastLimit;
};

/// A row and its neighbour rows that come before it in the scan.
struct RowNeighbours {
    const RowWord* here;        // (y, z)
    const RowWord* before;      // (y - 1, z)
    const RowWord* below;       // (y, z - 1)
    const RowWord* belowAfter;  // (y + 1, z - 1)
    const RowWord* belowBefore; // (y - 1, z - 1)
};

/// The bits of word w and of the voxels before and after each of its voxels.
struct Window {
    std::uint64_t left;
    std::uint64_t centre;
    std::uint64_t right;

    ARVO_KERNEL Window(const RowWord* row, std::ptrdiff_t w)
        : left(row[w].bits << 1 | row[w - 1].bits >> (WORD_BITS - 1)),
          centre(row[w].bits),
          right(row[w].bits >> 1 | row[w + 1].bits << (WORD_BITS - 1))
    {
    }

    ARVO_KERNEL std::uint64_t any() const { return left | centre | right; }
};

/// The run that voxel x, which is set, belongs to.
ARVO_KERNEL std::size_t runAt(const RowWord* row, std::ptrdiff_t x)
{
    const RowWord& word = row[x / WORD_BITS];
    const std::uint64_t upToHere = ~std::uint64_t(0) >> (WORD_BITS - 1 - x % WORD_BITS);
    return word.runs + static_cast<std::size_t>(std::popcount(word.begins & upToHere)) - 1;
}

/// Joins, for every set bit x of `contacts`, the run of voxel x here with that of voxel x + shift there.
ARVO_KERNEL void joinAt(std::uint64_t contacts, std::ptrdiff_t w, const RowWord* here, const RowWord* there,
                        std::ptrdiff_t shift, ProvisionalLabels& labels)
{
    forEachBit(contacts, [&](std::ptrdiff_t i) {
        const std::ptrdiff_t x = w * WORD_BITS + i;
        labels.join(runAt(here, x), runAt(there, x + shift));
    });
}

ARVO_KERNEL void startAt(std::uint64_t starts, const RowWord& word, ProvisionalLabels& labels)
{
    forEachBit(starts, [&](std::ptrdiff_t i) {
        const std::uint64_t before = (std::uint64_t(1) << i) - 1;
        labels.start(word.runs + static_cast<std::size_t>(std::popcount(word.begins & before)));
    });
}

/// Labels the runs of a row by face neighbours. Two runs that touch are joined once, where they begin to touch.
ARVO_VECTOR_CLONES void labelRowByFaces(const RowNeighbours& rows, std::ptrdiff_t words,
                                        ProvisionalLabels& labels)
{
    for (std::ptrdiff_t w = 0; w < words; ++w) {
        const RowWord& here = rows.here[w];
        if (here.bits == 0)
            continue;
        startAt(here.begins & ~(rows.before[w].bits | rows.below[w].bits), here, labels);
        for (const RowWord* there : {rows.below, rows.before}) {
            const std::uint64_t touches = here.bits & there[w].bits;
            const std::uint64_t touchedLast = rows.here[w - 1].bits & there[w - 1].bits;
            joinAt(touches & ~(touches << 1 | touchedLast >> (WORD_BITS - 1)), w, rows.here, there, 0,
                   labels);
        }
    }
}

/// The pairs of touching voxels that are joined already, through a common neighbour in a row nearer to the row here.
struct KnownPairs {
    std::uint64_t straight = 0; // bit x: voxel x here and voxel x there
    std::uint64_t left = 0;     // bit x: voxel x here and voxel x - 1 there
    std::uint64_t right = 0;    // bit x: voxel x here and voxel x + 1 there

    ARVO_KERNEL void addCommonNeighbours(const Window& nearer)
    {
        straight |= nearer.any();
        left |= nearer.centre | nearer.left;
        right |= nearer.centre | nearer.right;
    }
};

/// Joins the runs of word w with those that they touch in a neighbour row, straight or diagonally.
///
/// Only pairs of voxels that say something new are looked at: of straight pairs side by side the first, diagonal pairs
/// only where there is no straight one beside them.
ARVO_KERNEL void joinNeighbourRow(const Window& here, const Window& there, const KnownPairs& known,
                                  std::ptrdiff_t w, const RowWord* hereRow, const RowWord* thereRow,
                                  ProvisionalLabels& labels)
{
    const std::uint64_t straight = here.centre & there.centre & ~(here.left & there.left) & ~known.straight;
    const std::uint64_t left = here.centre & there.left & ~here.left & ~there.centre & ~known.left;
    const std::uint64_t right = here.centre & there.right & ~here.right & ~there.centre & ~known.right;
    joinAt(straight, w, hereRow, thereRow, 0, labels);
    joinAt(left, w, hereRow, thereRow, -1, labels);
    joinAt(right, w, hereRow, thereRow, 1, labels);
}

/// Labels the runs of a row by all neighbours.
///
///     z - 1:   belowBefore        z:   before
///              below                   here
///              belowAfter
///
/// Rows `before` and `belowAfter` touch `below`, and belowBefore touches `below` and `before`. A voxel there that has a
/// neighbour in such a row, which touches the voxel here as well, is joined already.
ARVO_VECTOR_CLONES void labelRowByAll(const RowNeighbours& rows, std::ptrdiff_t words,
                                      ProvisionalLabels& labels)
{
    for (std::ptrdiff_t w = 0; w < words; ++w) {
        if (rows.here[w].bits == 0)
            continue;
        const Window here(rows.here, w);
        const Window below(rows.below, w);
        const Window before(rows.before, w);
        const Window belowBefore(rows.belowBefore, w);
        const Window belowAfter(rows.belowAfter, w);
        startAt(rows.here[w].begins & ~(below.any() | before.any() | belowBefore.any() | belowAfter.any()),
                rows.here[w], labels);
        KnownPairs known;
        joinNeighbourRow(here, below, known, w, rows.here, rows.below, labels);
        known.addCommonNeighbours(below);
        joinNeighbourRow(here, before, known, w, rows.here, rows.before, labels);
        joinNeighbourRow(here, belowAfter, known, w, rows.here, rows.belowAfter, labels);
        known.addCommonNeighbours(before);
        joinNeighbourRow(here, belowBefore, known, w, rows.here, rows.belowBefore, labels);
    }
}

ARVO_VECTOR_CLONES std::size_t packMaskRow(const unsigned char* bytes, std::ptrdiff_t width, bool invert,
                                           std::size_t runs, RowWord* row)
{
    return packRow(bytes, width, invert, runs, row);
}

/// Adds the lengths of the runs of a row to the volumes of their labels; returns the number of runs.
///
/// A run is as long as its last voxel's index less its first one's, plus 1; firsts and lasts come in the same order.
ARVO_VECTOR_CLONES std::size_t countRuns(const unsigned char* bytes, std::ptrdiff_t width, bool invert,
                                         std::vector<RowWord>& words, const std::uint16_t* labels,
                                         std::int64_t* volumes)
{
    const std::size_t runs = packRow(bytes, width, invert, 0, words.data());
    const std::uint16_t* labelOfFirst = labels;
    const std::uint16_t* labelOfLast = labels;
    for (std::size_t w = 0; w < words.size(); ++w) {
        const std::ptrdiff_t x = static_cast<std::ptrdiff_t>(w) * WORD_BITS;
        const std::uint64_t bits = words[w].bits;
        const std::uint64_t next = w + 1 < words.size() ? words[w + 1].bits : 0;
        const std::uint64_t lasts = bits & ~(bits >> 1 | next << (WORD_BITS - 1));
        forEachBit(words[w].begins, [&](std::ptrdiff_t i) { volumes[*labelOfFirst++] -= x + i; });
        forEachBit(lasts, [&](std::ptrdiff_t i) { volumes[*labelOfLast++] += x + i + 1; });
    }
    return runs;
}

} // namespace

LabelledRuns::LabelledRuns(const Mask& mask, Voxels voxels)
    : m_mask(mask),
      m_isInverted(voxels == Voxels::Zero)
{
}

std::optional<LabelledRuns> LabelledRuns::of(const Mask& mask, Neighbours neighbours, Voxels voxels)
{
    try {
        LabelledRuns labelled(mask, voxels);
        labelled.scan(neighbours);
        return labelled;
    } catch (const std::bad_alloc&) {
        qWarning("ArvoImageBinaryTools : not enough memory to label the mask.");
        return std::nullopt;
    }
}

/// Once the labels have run out and the part that shares the last one is all around a row, the row belongs to it
/// whatever it looks like: nothing needs to be joined. Dense noise is such rows nearly everywhere.
void LabelledRuns::scan(Neighbours neighbours)
{
    const std::ptrdiff_t words = wordsOfRow(m_mask.width());
    const auto labelRow = neighbours == Neighbours::All ? labelRowByAll : labelRowByFaces;
    SliceRows here(m_mask.width(), m_mask.height());
    SliceRows below(m_mask.width(), m_mask.height());
    ProvisionalLabels labels;
    for (std::ptrdiff_t z = 0; z < m_mask.depth(); ++z) {
        m_firstOfSlice.push_back(labels.runCount());
        std::swap(here, below);
        for (std::ptrdiff_t y = 0; y < m_mask.height(); ++y) {
            const std::size_t first = labels.runCount();
            const std::size_t end =
                packMaskRow(m_mask.row(y, z), m_mask.width(), m_isInverted, first, here.row(y));
            const bool isSurrounded = labels.isFull() && here.isPastLimit(y - 1) &&
                                      below.isPastLimit(y - 1) && below.isPastLimit(y) &&
                                      below.isPastLimit(y + 1);
            if (isSurrounded) {
                labels.addRuns(end, ProvisionalLabels::LIMIT);
                here.isPastLimit(y) = true;
                continue;
            }
            labels.addRuns(end, ProvisionalLabels::NONE);
            labelRow({here.row(y), here.row(y - 1), below.row(y), below.row(y + 1), below.row(y - 1)}, words,
                     labels);
            here.isPastLimit(y) = end == first || (labels.isFull() && labels.areAllPastLimit(first));
        }
    }
    m_firstOfSlice.push_back(labels.runCount());
    std::tie(m_labels, m_partCount) = std::move(labels).finish();
}

std::vector<unsigned char> LabelledRuns::partsOnSlice(std::ptrdiff_t z) const
{
    std::vector<unsigned char> isOnSlice(static_cast<std::size_t>(m_partCount) + 1);
    const std::size_t slice = static_cast<std::size_t>(z);
    for (std::size_t run = m_firstOfSlice[slice]; run < m_firstOfSlice[slice + 1]; ++run)
        isOnSlice[m_labels[run]] = 1;
    return isOnSlice;
}

int LabelledRuns::labelAt(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
{
    std::vector<RowWord> words(static_cast<std::size_t>(wordsOfRow(m_mask.width())));
    std::size_t runs = m_firstOfSlice[static_cast<std::size_t>(z)];
    for (std::ptrdiff_t row = 0; row <= y; ++row)
        runs = packMaskRow(m_mask.row(row, z), m_mask.width(), m_isInverted, runs, words.data());
    const bool isSet = words[static_cast<std::size_t>(x / WORD_BITS)].bits >> (x % WORD_BITS) & 1;
    return isSet ? m_labels[runAt(words.data(), x)] : 0;
}

std::vector<std::int64_t> LabelledRuns::volumes(const std::atomic<bool>* cancel) const
{
    std::vector<std::int64_t> volumes(static_cast<std::size_t>(m_partCount) + 1);
    std::vector<RowWord> words(static_cast<std::size_t>(wordsOfRow(m_mask.width())));
    const std::uint16_t* labels = m_labels.data();
    for (std::ptrdiff_t row = 0; row < m_mask.height() * m_mask.depth(); ++row) {
        if (cancel && cancel->load(std::memory_order_relaxed))
            return {};
        const unsigned char* bytes = m_mask.data() + row * m_mask.width();
        labels += countRuns(bytes, m_mask.width(), m_isInverted, words, labels, volumes.data());
    }
    return volumes;
}

} // namespace binary
