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

/// The bits of word w of a row, and at the same places those of the voxels before and after.
struct Window {
    std::uint64_t before;
    std::uint64_t here;
    std::uint64_t after;

    ARVO_KERNEL Window(const RowWord* row, std::ptrdiff_t w)
        : before(row[w].bits << 1 | row[w - 1].bits >> (WORD_BITS - 1)),
          here(row[w].bits),
          after(row[w].bits >> 1 | row[w + 1].bits << (WORD_BITS - 1))
    {
    }

    /// The places with a voxel next to them.
    ARVO_KERNEL std::uint64_t any() const { return before | here | after; }
};

/// The places of a word at which two rows touch and a look at their runs says something new.
///
/// At place x touch the voxels x of both rows (straight), or the voxel x of one and x - 1 of the other (diagonally).
/// Two runs need to be joined only once, so of straight places side by side only the first counts, and a diagonal one
/// only where both runs have no voxel nearer to each other.
struct Contacts {
    std::uint64_t straight;
    std::uint64_t diagonal;

    ARVO_KERNEL Contacts(const Window& a, const Window& b)
        : straight(a.here & b.here & ~(a.before & b.before)),
          diagonal((a.here & ~a.before & b.before & ~b.here) | (b.here & ~b.before & a.before & ~a.here))
    {
    }

    /// Drops the places where the two voxels have a common neighbour in that row, through which they are joined.
    ARVO_KERNEL void dropNeighboursOf(const Window& row)
    {
        straight &= ~row.any();
        diagonal &= ~(row.before | row.here);
    }
};

/// The last run that begins at place i of the word or before it.
ARVO_KERNEL std::size_t runAt(const RowWord& word, std::ptrdiff_t i)
{
    const std::uint64_t upToHere = ~std::uint64_t(0) >> (WORD_BITS - 1 - i);
    return word.runs + static_cast<std::size_t>(std::popcount(word.begins & upToHere)) - 1;
}

/// The bits [begin, end) of a word; of what lies outside the word, none.
std::uint64_t bitsOfRange(std::ptrdiff_t begin, std::ptrdiff_t end)
{
    const auto upTo = [](std::ptrdiff_t bit) {
        return bit <= 0 ? 0 : ~std::uint64_t(0) >> (WORD_BITS - std::min(bit, WORD_BITS));
    };
    return upTo(end) & ~upTo(begin);
}

ARVO_KERNEL void startRuns(std::uint64_t places, const RowWord& here, ProvisionalLabels& labels)
{
    forEachBit(places, [&](std::ptrdiff_t i) { labels.start(runAt(here, i)); });
}

/// Joins the runs here with those there at the given places. Where a row has no voxel at the place, the run is the one
/// that ends just before.
ARVO_KERNEL void joinRuns(std::uint64_t places, const RowWord& here, const RowWord& there,
                          ProvisionalLabels& labels)
{
    forEachBit(places, [&](std::ptrdiff_t i) { labels.join(runAt(here, i), runAt(there, i)); });
}

/// Labels the runs of a row by face neighbours.
ARVO_VECTOR_CLONES void labelRowByFaces(const RowNeighbours& rows, std::ptrdiff_t words,
                                        ProvisionalLabels& labels)
{
    for (std::ptrdiff_t w = 0; w < words; ++w) {
        const Window here(rows.here, w);
        if (here.here == 0)
            continue;
        const Window below(rows.below, w);
        const Window before(rows.before, w);
        startRuns(rows.here[w].begins & ~(below.here | before.here), rows.here[w], labels);
        joinRuns(Contacts(here, below).straight, rows.here[w], rows.below[w], labels);
        joinRuns(Contacts(here, before).straight, rows.here[w], rows.before[w], labels);
    }
}

/// Labels the runs of a row by all neighbours.
///
///     z - 1:   belowBefore        z:   before
///              below                   here
///              belowAfter
///
/// Rows `before` and `belowAfter` touch `below`, and belowBefore touches `below` and `before`: what they have in common
/// with those neighbours needs no second join.
ARVO_VECTOR_CLONES void labelRowByAll(const RowNeighbours& rows, std::ptrdiff_t words,
                                      ProvisionalLabels& labels)
{
    for (std::ptrdiff_t w = 0; w < words; ++w) {
        const Window here(rows.here, w);
        if ((here.here | here.before) == 0)
            continue;
        const Window below(rows.below, w);
        const Window before(rows.before, w);
        const Window belowBefore(rows.belowBefore, w);
        const Window belowAfter(rows.belowAfter, w);
        const std::uint64_t touched = below.any() | before.any() | belowBefore.any() | belowAfter.any();
        startRuns(rows.here[w].begins & ~touched, rows.here[w], labels);
        const Contacts withBelow(here, below);
        Contacts withBefore(here, before);
        Contacts withBelowAfter(here, belowAfter);
        Contacts withBelowBefore(here, belowBefore);
        withBefore.dropNeighboursOf(below);
        withBelowAfter.dropNeighboursOf(below);
        withBelowBefore.dropNeighboursOf(below);
        withBelowBefore.dropNeighboursOf(before);
        joinRuns(withBelow.straight | withBelow.diagonal, rows.here[w], rows.below[w], labels);
        joinRuns(withBefore.straight | withBefore.diagonal, rows.here[w], rows.before[w], labels);
        joinRuns(withBelowAfter.straight | withBelowAfter.diagonal, rows.here[w], rows.belowAfter[w], labels);
        joinRuns(withBelowBefore.straight | withBelowBefore.diagonal, rows.here[w], rows.belowBefore[w],
                 labels);
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

std::vector<unsigned char> LabelledRuns::partsInColumns(const std::vector<Columns>& columnsOfRow) const
{
    std::vector<unsigned char> isInside(static_cast<std::size_t>(m_partCount) + 1);
    std::vector<RowWord> words(static_cast<std::size_t>(wordsOfRow(m_mask.width())));
    std::size_t runs = 0;
    for (std::ptrdiff_t row = 0; row < m_mask.height() * m_mask.depth(); ++row) {
        const unsigned char* bytes = m_mask.data() + row * m_mask.width();
        const Columns& columns = columnsOfRow[static_cast<std::size_t>(row % m_mask.height())];
        runs = packMaskRow(bytes, m_mask.width(), m_isInverted, runs, words.data());
        for (std::ptrdiff_t w = columns.begin / WORD_BITS; w * WORD_BITS < columns.end; ++w) {
            const RowWord& word = words[static_cast<std::size_t>(w)];
            const std::uint64_t inside =
                word.bits & bitsOfRange(columns.begin - w * WORD_BITS, columns.end - w * WORD_BITS);
            forEachBit(inside & ~(inside << 1),
                       [&](std::ptrdiff_t i) { isInside[m_labels[runAt(word, i)]] = 1; });
        }
    }
    return isInside;
}

int LabelledRuns::labelAt(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
{
    std::vector<RowWord> words(static_cast<std::size_t>(wordsOfRow(m_mask.width())));
    std::size_t runs = m_firstOfSlice[static_cast<std::size_t>(z)];
    for (std::ptrdiff_t row = 0; row <= y; ++row)
        runs = packMaskRow(m_mask.row(row, z), m_mask.width(), m_isInverted, runs, words.data());
    const RowWord& word = words[static_cast<std::size_t>(x / WORD_BITS)];
    const bool isSet = word.bits >> (x % WORD_BITS) & 1;
    return isSet ? m_labels[runAt(word, x % WORD_BITS)] : 0;
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
