#pragma once

#include "arvo/platform/utility/VectorClones.h"

#include <cstddef>

namespace utility {

/// Calls body(begin, end) for pieces that together are [0, count), each element once, in the order in which one core gets
/// them from memory soonest; for loops that do so little for each element that memory is what they wait for.
///
/// A processor's prefetchers follow every page of 4 KiB on their own and begin anew at its end. Eight pages read in turn,
/// four cache lines of each, keep eight of them going: reading takes a quarter less time than from front to back,
/// changing in place a third less. The width of the elements is best that of the widest array of the loop.
///
/// The body, here and below, is to be ARVO_INLINED, so that it is compiled for the caller's instruction set and knows the
/// length of all pieces but the last.
template <std::size_t ElementBytes, class Body> ARVO_KERNEL void forEachPiece(std::ptrdiff_t count, Body body)
{
    constexpr std::ptrdiff_t STREAMS = 8;
    constexpr std::ptrdiff_t PAGE = 4096 / ElementBytes;
    constexpr std::ptrdiff_t PIECE = 256 / ElementBytes;
    std::ptrdiff_t begin = 0;
    for (; begin + STREAMS * PAGE <= count; begin += STREAMS * PAGE) {
        for (std::ptrdiff_t piece = begin; piece < begin + PAGE; piece += PIECE) {
            for (std::ptrdiff_t first = piece; first < piece + STREAMS * PAGE; first += PAGE)
                body(first, first + PIECE);
        }
    }
    body(begin, count);
}

/// Calls body(i) for every element in that order. No call may need what another has written.
template <std::size_t ElementBytes, class Body>
ARVO_KERNEL void forEachElement(std::ptrdiff_t count, Body body)
{
    forEachPiece<ElementBytes>(count, [&](std::ptrdiff_t begin, std::ptrdiff_t end) ARVO_INLINED {
#pragma GCC ivdep
        for (std::ptrdiff_t i = begin; i < end; ++i)
            body(i);
    });
}

} // namespace utility
