#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr unsigned char SET = 0xFF;

/// The largest dx whose pixel (dx, dy) lies in the disc; it does when its distance from the centre, rounded to single
/// precision, is below radius + 0.5. At most `limit`; -1 when the row is not in the disc at all.
std::ptrdiff_t halfWidth(int radius, std::ptrdiff_t dy, std::ptrdiff_t limit)
{
    std::ptrdiff_t dx = std::min<std::ptrdiff_t>(limit, radius);
    while (dx >= 0 && !(std::sqrt(static_cast<float>(dx * dx + dy * dy)) < radius + 0.5))
        --dx;
    return dx;
}

ARVO_VECTOR_CLONES void markObject(const unsigned char* voxels, unsigned char* marks, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        marks[i] = voxels[i] != 0 ? SET : 0;
}

/// out[i] = a[i] & b[i]; out may be a, and b may be a row ahead of it in the same memory.
ARVO_VECTOR_CLONES void bothSet(const unsigned char* a, const unsigned char* b, unsigned char* out,
                                std::ptrdiff_t count)
{
#pragma GCC ivdep // what is read ahead is written later in every order of the vectors
    for (std::ptrdiff_t i = 0; i < count; ++i)
        out[i] = a[i] & b[i];
}

/// Leaves in row[i] whether row[i .. i + length - 1] are all set, for i < count; row has count + length - 1 entries.
/// Windows of 2, 4, 8 .. until two of them cover the length.
void windowsAllSet(unsigned char* row, std::ptrdiff_t count, std::ptrdiff_t length)
{
    std::ptrdiff_t covered = 1;
    while (2 * covered <= length) {
        bothSet(row, row + covered, row, count + length - 2 * covered);
        covered *= 2;
    }
    if (covered < length)
        bothSet(row, row + length - covered, row, count);
}

/// Erodes slices of one size by one disc, as rows of ever the same width: for each width, the rows shrunken by it
/// along x, laid over each other shifted along y.
class DiscErosion {
public:
    DiscErosion(int radius, std::ptrdiff_t width, std::ptrdiff_t height) : m_width(width), m_height(height)
    {
        const std::ptrdiff_t reach = std::min<std::ptrdiff_t>(radius, height - 1);
        for (std::ptrdiff_t dy = 0; dy <= reach && halfWidth(radius, dy, width - 1) >= 0; ++dy)
            m_halfWidths.push_back(halfWidth(radius, dy, width - 1));
        const std::ptrdiff_t widest = m_halfWidths.empty() ? 0 : m_halfWidths.front();
        m_row.resize(static_cast<std::size_t>(width + 2 * widest));
        m_kept.resize(static_cast<std::size_t>(width * height));
        m_shrunken.resize(m_kept.size());
    }

    /// `out` may be `in`.
    void erode(const unsigned char* in, unsigned char* out)
    {
        std::ranges::fill(m_kept, SET);
        for (std::size_t dy = 0; dy < m_halfWidths.size();) {
            shrink(in, m_halfWidths[dy]);
            for (const std::ptrdiff_t same = m_halfWidths[dy];
                 dy < m_halfWidths.size() && m_halfWidths[dy] == same; ++dy)
                layOver(static_cast<std::ptrdiff_t>(dy));
        }
        bothSet(in, m_kept.data(), out, m_width * m_height);
    }

private:
    /// Beyond the ends of a row everything counts as set.
    void shrink(const unsigned char* in, std::ptrdiff_t halfWidth)
    {
        for (std::ptrdiff_t y = 0; y < m_height; ++y) {
            std::memset(m_row.data(), SET, m_row.size());
            markObject(in + y * m_width, m_row.data() + halfWidth, m_width);
            windowsAllSet(m_row.data(), m_width, 2 * halfWidth + 1);
            std::copy_n(m_row.data(), m_width, m_shrunken.data() + y * m_width);
        }
    }

    void layOver(std::ptrdiff_t dy)
    {
        const std::ptrdiff_t count = (m_height - dy) * m_width;
        unsigned char* kept = m_kept.data();
        unsigned char* keptAfter = kept + dy * m_width;
        const unsigned char* shrunken = m_shrunken.data();
        bothSet(kept, shrunken + dy * m_width, kept, count);
        if (dy > 0)
            bothSet(keptAfter, shrunken, keptAfter, count);
    }

    std::ptrdiff_t m_width;
    std::ptrdiff_t m_height;
    std::vector<std::ptrdiff_t> m_halfWidths; // of the disc's rows dy = 0, 1 ..
    std::vector<unsigned char> m_row;
    std::vector<unsigned char> m_shrunken;
    std::vector<unsigned char> m_kept;
};

bool holdsBytes(const ArvoImage3D* image)
{
    return frame::isUsable(image) && image::elementWidth(image->dataType()) == 1;
}

bool canErode(const ArvoImage3D* in, const ArvoImage3D* out, int radius)
{
    if (!holdsBytes(in) || !holdsBytes(out))
        return frame::refuse("ArvoImageBinaryTools : no valid byte images to erode.");
    if (!frame::haveEqualSize(*in, *out))
        return frame::refuse("ArvoImageBinaryTools : input and output image differ in size.");
    if (radius < 0)
        return frame::refuse("ArvoImageBinaryTools : the erosion radius is negative.");
    return true;
}

} // namespace

void ArvoImageBinaryTools::erodeZ(int radius)
{
    if (!canErode(m_input, m_output, radius))
        return;
    const frame::VolumeView<const unsigned char> in(*m_input);
    const frame::VolumeView<unsigned char> out(*m_output);
    DiscErosion disc(radius, in.width(), in.height());
    for (std::ptrdiff_t z = 0; z < in.depth(); ++z)
        disc.erode(in.slice(z), out.slice(z));
    m_output->editFinished();
}
