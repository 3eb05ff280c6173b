#include "arvo/binary/OnePieceTest.h"

namespace binary {

namespace {

/// A set of 3 x 3 voxels of a slice: bit x + 3 * y.
using Slice = unsigned;

constexpr Slice MIDDLE = 0b000'010'000;
constexpr Slice NOT_FIRST_X = 0b110'110'110;
constexpr Slice NOT_LAST_X = 0b011'011'011;

constexpr std::size_t MOST_PIECES = 5; // the corners and the middle
constexpr std::size_t MOST_ARCS = 4;

struct Pieces {
    std::array<Slice, MOST_PIECES> at{};
    std::size_t count = 0;
};

/// The pieces by edges, those of the lowest bits first.
Pieces piecesOf(Slice set)
{
    Pieces pieces;
    while (set != 0) {
        Slice piece = set & (0 - set);
        for (Slice before = 0; piece != before;) {
            before = piece;
            piece |= set & ((piece << 1 & NOT_FIRST_X) | (piece >> 1 & NOT_LAST_X) | piece << 3 | piece >> 3);
        }
        pieces.at[pieces.count++] = piece;
        set &= ~piece;
    }
    return pieces;
}

/// A set of pairs of arcs, a bit each, or anything with CUT_OFF.
using Joined = unsigned;

constexpr Joined CUT_OFF = 1U << 6; // there is a piece that no arc touches

constexpr Joined pair(std::size_t first, std::size_t second)
{
    return 1U << (first == 0 ? second - 1 : first + second);
}

// Without arcs one of the two slices has to be one piece, the other empty: pairs that connect all only together.
constexpr Joined EMPTY = pair(0, 1) | pair(2, 3);
constexpr Joined ONE_PIECE = pair(0, 2) | pair(1, 3);

/// The arcs that the pieces of the slice beside them join; absent arcs count as joined to the first.
Joined joinedBy(const Pieces& beside, const Pieces& arcs)
{
    if (arcs.count == 0)
        return beside.count == 0 ? EMPTY : beside.count == 1 ? ONE_PIECE : CUT_OFF;
    Joined joined = 0;
    for (std::size_t absent = arcs.count; absent < MOST_ARCS; ++absent)
        joined |= pair(0, absent);
    for (std::size_t i = 0; i < beside.count; ++i) {
        std::size_t first = MOST_ARCS;
        for (std::size_t arc = 0; arc < arcs.count; ++arc) {
            if ((beside.at[i] & arcs.at[arc]) == 0)
                continue;
            if (first == MOST_ARCS)
                first = arc;
            else
                joined |= pair(first, arc);
        }
        if (first == MOST_ARCS)
            return CUT_OFF;
    }
    return joined;
}

/// Whether the pairs join all arcs, and nothing is cut off.
bool joinAll(Joined joined)
{
    unsigned reached = 1; // a bit for each arc
    for (std::size_t round = 1; round < MOST_ARCS; ++round) {
        for (std::size_t first = 0; first < MOST_ARCS; ++first) {
            for (std::size_t second = first + 1; second < MOST_ARCS; ++second) {
                const unsigned both = 1U << first | 1U << second;
                if ((joined & pair(first, second)) != 0 && (reached & both) != 0)
                    reached |= both;
            }
        }
    }
    return reached == 0b1111 && (joined & CUT_OFF) == 0;
}

} // namespace

OnePieceTest::OnePieceTest()
{
    std::array<Pieces, SLICES> pieces;
    for (Slice slice = 0; slice < SLICES; ++slice)
        pieces[slice] = piecesOf(slice);
    for (Slice ring = 0; ring < SLICES; ++ring) {
        if ((ring & MIDDLE) != 0)
            continue;
        for (Slice slice = 0; slice < SLICES; ++slice)
            m_joined[ring][slice] = static_cast<std::uint8_t>(joinedBy(pieces[slice], pieces[ring]));
    }
    for (Joined joined = 0; joined < m_isOnePiece.size(); ++joined)
        m_isOnePiece[joined] = joinAll(joined);
}

const OnePieceTest& OnePieceTest::instance()
{
    static const OnePieceTest test;
    return test;
}

} // namespace binary
