#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/binary/BitSlice.h"
#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace {

using binary::BitSlice;

/// The largest dx up to `limit` for which the offset (dx, dy) lies in the disc, -1 for none.
std::ptrdiff_t halfWidth(int radius, std::ptrdiff_t dy, std::ptrdiff_t limit)
{
    std::ptrdiff_t dx = std::min<std::ptrdiff_t>(limit, radius);
    while (dx >= 0 && !(std::sqrt(static_cast<float>(dx * dx + dy * dy)) < radius + 0.5))
        --dx;
    return dx;
}

/// Erodes slices of one size by one disc: widens the background along x, row of the disc by row of the disc from the
/// narrow ends to the centre, and carries what it has got so far along y.
class DiscErosion {
public:
    DiscErosion(int radius, std::ptrdiff_t width, std::ptrdiff_t height)
        : m_background(width, height),
          m_wider(width, height),
          m_cleared(width, height)
    {
        const std::ptrdiff_t reach = std::min<std::ptrdiff_t>(radius, height - 1);
        for (std::ptrdiff_t dy = 0; dy <= reach; ++dy)
            m_halfWidths.push_back(halfWidth(radius, dy, width - 1));
    }

    /// `out` may be `in`.
    void erode(const unsigned char* in, unsigned char* out)
    {
        m_background.setWhereZero(in);
        m_cleared.clear();
        std::ptrdiff_t reached = 0;
        for (std::ptrdiff_t dy = std::ssize(m_halfWidths) - 1; dy >= 0; --dy) {
            const std::ptrdiff_t wanted = m_halfWidths[static_cast<std::size_t>(dy)];
            if (wanted < 0)
                continue;
            for (; reached < wanted; reached += widenBackground(reached, wanted - reached))
                ;
            m_cleared.add(m_background, dy);
            m_cleared.add(m_background, -dy);
        }
        m_cleared.clearWhereSet(in, out);
    }

private:
    /// Widens by at most `missing`; a step longer than what is reached already and 1 would leave gaps at row ends.
    std::ptrdiff_t widenBackground(std::ptrdiff_t reached, std::ptrdiff_t missing)
    {
        const std::ptrdiff_t step = std::min<std::ptrdiff_t>({missing, reached + 1, BitSlice::LARGEST_REACH});
        m_wider.widen(m_background, static_cast<int>(step));
        std::swap(m_background, m_wider);
        return step;
    }

    std::vector<std::ptrdiff_t> m_halfWidths; // of the disc's rows 0, 1 .. to either side of its centre
    BitSlice m_background;
    BitSlice m_wider;
    BitSlice m_cleared;
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
try {
    if (!canErode(m_input, m_output, radius))
        return;
    const frame::VolumeView<const unsigned char> in(*m_input);
    const frame::VolumeView<unsigned char> out(*m_output);
    DiscErosion disc(radius, in.width(), in.height());
    for (std::ptrdiff_t z = 0; z < in.depth(); ++z)
        disc.erode(in.slice(z), out.slice(z));
    m_output->editFinished();
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImageBinaryTools : out of memory.");
}
