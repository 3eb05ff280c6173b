#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <new>
#include <vector>

namespace {

/// Where a row and the rows before and after it are all set.
ARVO_VECTOR_CLONES void columnAllSet(const unsigned char* before, const unsigned char* here,
                                     const unsigned char* after, unsigned char* isAllSet,
                                     std::ptrdiff_t count)
{
    for (std::ptrdiff_t x = 0; x < count; ++x)
        isAllSet[x] = (before[x] != 0) & (here[x] != 0) & (after[x] != 0);
}

/// The same along the row, whose ends stand for the voxels beyond them.
ARVO_VECTOR_CLONES void rowAllSet(const unsigned char* isSet, unsigned char* isAllSet, std::ptrdiff_t count)
{
    isAllSet[0] = isSet[0] & isSet[std::min<std::ptrdiff_t>(1, count - 1)];
    for (std::ptrdiff_t x = 1; x < count - 1; ++x)
        isAllSet[x] = isSet[x - 1] & isSet[x] & isSet[x + 1];
    if (count > 1)
        isAllSet[count - 1] = isSet[count - 2] & isSet[count - 1];
}

/// Edge voxels: object, and not all set in one of the three slices around.
ARVO_VECTOR_CLONES void writeEdges(const unsigned char* voxels, const unsigned char* below,
                                   const unsigned char* here, const unsigned char* above,
                                   unsigned char* edges, std::ptrdiff_t count)
{
#pragma GCC ivdep // the edges are the voxels' own memory or apart from it
    for (std::ptrdiff_t i = 0; i < count; ++i)
        edges[i] = (voxels[i] != 0) & ((below[i] & here[i] & above[i]) ^ 1);
}

/// For every voxel of slice z whether the 3 x 3 voxels around it, as far as they lie inside, are all set.
void squaresAllSet(const frame::VolumeView<const unsigned char>& in, std::ptrdiff_t z, unsigned char* columns,
                   unsigned char* squares)
{
    const std::ptrdiff_t last = in.height() - 1;
    for (std::ptrdiff_t y = 0; y <= last; ++y, squares += in.width()) {
        columnAllSet(in.row(std::max<std::ptrdiff_t>(y - 1, 0), z), in.row(y, z),
                     in.row(std::min(y + 1, last), z), columns, in.width());
        rowAllSet(columns, squares, in.width());
    }
}

} // namespace

void ArvoImageBinaryTools::edgeDetection()
try {
    if (!m_input || !m_output || m_input->dataType() != image::Binary ||
        m_output->dataType() != image::Binary) {
        frame::refuse("Edge detection: The images are not valid");
        return;
    }
    if (!frame::haveEqualSize(*m_input, *m_output)) {
        frame::refuse("ArvoImageBinaryTools : input and output image differ in size.");
        return;
    }
    const frame::VolumeView<const unsigned char> in(*m_input);
    const frame::VolumeView<unsigned char> out(*m_output);
    const std::ptrdiff_t last = in.count() == 0 ? -1 : in.depth() - 1;
    std::vector<unsigned char> columns(static_cast<std::size_t>(in.width()));
    std::array<std::vector<unsigned char>, 3> squares; // of slice z in entry z mod 3
    for (auto& slice : squares)
        slice.resize(static_cast<std::size_t>(in.sliceCount()));
    const auto squaresOf = [&](std::ptrdiff_t z) {
        return squares[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(z, 0, last) % 3)].data();
    };
    if (last >= 0)
        squaresAllSet(in, 0, columns.data(), squaresOf(0));
    for (std::ptrdiff_t z = 0; z <= last; ++z) {
        if (z < last) // before slice z is written: the output may be the input
            squaresAllSet(in, z + 1, columns.data(), squaresOf(z + 1));
        writeEdges(in.slice(z), squaresOf(z - 1), squaresOf(z), squaresOf(z + 1), out.slice(z),
                   in.sliceCount());
    }
    m_output->editFinished();
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImageBinaryTools : out of memory.");
}
