#include "arvo/filters/ArvoImageCubicFilter.h"

#include "arvo/frame/ParallelFor.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstddef>
#include <new>

namespace {

/// Uninitialised doubles, or std::bad_alloc.
class Doubles {
public:
    explicit Doubles(std::ptrdiff_t count)
        : m_block(image::VoxelBlock::allocate(static_cast<std::size_t>(count) * sizeof(double)))
    {
        if (!m_block)
            throw std::bad_alloc();
    }

    double* get() { return reinterpret_cast<double*>(m_block.data()); }
    const double* get() const { return reinterpret_cast<const double*>(m_block.data()); }

private:
    image::VoxelBlock m_block;
};

struct Kernel {
    std::ptrdiff_t x, y, z;

    double reciprocal() const { return 1.0 / static_cast<double>(x * y * z); }
};

/// The odd kernel sizes; std::bad_alloc when the byte size of the whole table fits no signed 64-bit integer.
Kernel kernelOf(const std::array<unsigned long long, 3>& kernelSize, const math::Ivec3& size)
{
    std::array<unsigned long long, 3> odd;
    unsigned long long bytes = sizeof(double);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        odd[axis] = kernelSize[axis] | 1u;
        unsigned long long padded = 0;
        const auto extent = static_cast<unsigned long long>(size[static_cast<int>(axis)]);
        if (__builtin_add_overflow(odd[axis], extent, &padded) ||
            __builtin_mul_overflow(bytes, padded, &bytes) ||
            bytes > static_cast<unsigned long long>(PTRDIFF_MAX))
            throw std::bad_alloc();
    }
    return {static_cast<std::ptrdiff_t>(odd[0]), static_cast<std::ptrdiff_t>(odd[1]),
            static_cast<std::ptrdiff_t>(odd[2])};
}

/// Rows whose running sums are made side by side: one alone would wait for every addition.
constexpr std::ptrdiff_t ROWS = 4;

/// Replaces the elements of ROWS rows by running sums that start at the given values.
void sumAlongRows(double* rows, std::ptrdiff_t stride, const double* starts, std::ptrdiff_t count)
{
    double s0 = starts[0], s1 = starts[1], s2 = starts[2], s3 = starts[3];
    double *r0 = rows, *r1 = r0 + stride, *r2 = r1 + stride, *r3 = r2 + stride;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        r0[i] = s0 += r0[i];
        r1[i] = s1 += r1[i];
        r2[i] = s2 += r2[i];
        r3[i] = s3 += r3[i];
    }
}

/// to[i] = voxel first + i of the row, clamped into it.
template <class T>
ARVO_VECTOR_CLONES void padRow(const T* row, std::ptrdiff_t width, std::ptrdiff_t first, double* to,
                               std::ptrdiff_t count)
{
    const std::ptrdiff_t before = std::clamp<std::ptrdiff_t>(-first, 0, count);
    const std::ptrdiff_t inside = std::clamp<std::ptrdiff_t>(width - first, before, count);
    const T* from = row + first;
    std::fill_n(to, before, static_cast<double>(row[0]));
    for (std::ptrdiff_t i = before; i < inside; ++i)
        to[i] = static_cast<double>(from[i]);
    std::fill_n(to + inside, count - inside, static_cast<double>(row[width - 1]));
}

/// The sums along x become sums along x and y, then a row of the table.
ARVO_VECTOR_CLONES void addTableRow(const double* alongX, double* alongXY, const double* below, double* table,
                                    std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        alongXY[i] += alongX[i];
        table[i] = below[i] + alongXY[i];
    }
}

/// The four table rows that bound the boxes of one output row.
struct Corners {
    const double *upperHigh, *upperLow, *lowerHigh, *lowerLow; ///< slice z + kz or z, row y + ky or y
};

template <class T>
ARVO_VECTOR_CLONES void meanRow(const Corners& c, std::ptrdiff_t kx, double reciprocal, T* out,
                                std::ptrdiff_t count)
{
    const double *uh = c.upperHigh, *ul = c.upperLow, *lh = c.lowerHigh, *ll = c.lowerLow;
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        const double sum = uh[x + kx] - uh[x] - ul[x + kx] - lh[x + kx] + ul[x] + lh[x] + ll[x + kx] - ll[x];
        out[x] = image::toVoxel<T>(sum * reciprocal);
    }
}

/// Calls body(y, rows) with the running sums along x of ROWS source rows from y on (past the last row, it again), from
/// table column `first` to `first + count`; `startOf(y)` is the sum up to `first`.
template <class T, class StartOf, class Body>
void forEachRowGroup(const frame::VolumeView<const T>& in, std::ptrdiff_t z, std::ptrdiff_t rx,
                     std::ptrdiff_t first, std::ptrdiff_t count, double* rows, StartOf&& startOf, Body&& body)
{
    for (std::ptrdiff_t y = 0; y < in.height(); y += ROWS) {
        double starts[ROWS];
        for (std::ptrdiff_t i = 0; i < ROWS; ++i) {
            const std::ptrdiff_t source = std::min(y + i, in.height() - 1);
            starts[i] = startOf(source);
            rows[i * (count + 1)] = starts[i];
            padRow(in.row(source, z), in.width(), first - rx, rows + i * (count + 1) + 1, count);
        }
        sumAlongRows(rows + 1, count + 1, starts, count);
        body(y, rows);
    }
}

/// The part of the table that the output columns [first, end) need, slice by slice.
template <class T> class Strip {
public:
    /// `starts`: the sum along x of each source row up to table column `first`; null for zeros.
    Strip(const frame::VolumeView<const T>& in, const Kernel& kernel, std::ptrdiff_t first,
          std::ptrdiff_t end, const double* starts)
        : m_in(in),
          m_kernel(kernel),
          m_first(first),
          m_end(end),
          m_columns(end - first + kernel.x),
          m_starts(starts),
          m_rows(ROWS * m_columns),
          m_alongXY(m_columns),
          m_ring((kernel.z + 1) * tableRows() * m_columns)
    {
        std::fill_n(m_ring.get(), tableRows() * m_columns, 0.0);
        for (std::ptrdiff_t slice = 1; slice <= kernel.z; ++slice)
            std::fill_n(tableRow(0, slice), m_columns, 0.0);
    }

    void filterInto(const frame::VolumeView<T>& out)
    {
        const double reciprocal = m_kernel.reciprocal();
        for (std::ptrdiff_t slice = 1; slice < m_in.depth() + m_kernel.z; ++slice) {
            addSlice(slice);
            const std::ptrdiff_t z = slice - m_kernel.z;
            for (std::ptrdiff_t y = 0; z >= 0 && y < m_in.height(); ++y) {
                const Corners corners{tableRow(y + m_kernel.y, slice), tableRow(y, slice),
                                      tableRow(y + m_kernel.y, z), tableRow(y, z)};
                meanRow(corners, m_kernel.x, reciprocal, out.row(y, z) + m_first, m_end - m_first);
            }
        }
    }

private:
    std::ptrdiff_t tableRows() const { return m_in.height() + m_kernel.y; }

    double* tableRow(std::ptrdiff_t row, std::ptrdiff_t slice)
    {
        return m_ring.get() + (slice % (m_kernel.z + 1) * tableRows() + row) * m_columns;
    }

    /// The edge rows and slices stand for those beyond them.
    void addSlice(std::ptrdiff_t slice)
    {
        const std::ptrdiff_t ry = m_kernel.y / 2;
        const std::ptrdiff_t lastRow = m_in.height() - 1;
        const std::ptrdiff_t z = std::clamp<std::ptrdiff_t>(slice - 1 - m_kernel.z / 2, 0, m_in.depth() - 1);
        const auto startOf = [&](std::ptrdiff_t y) {
            return m_starts ? m_starts[z * m_in.height() + y] : 0.0;
        };
        std::fill_n(m_alongXY.get(), m_columns, 0.0);
        std::ptrdiff_t row = 1;
        forEachRowGroup(m_in, z, m_kernel.x / 2, m_first, m_columns - 1, m_rows.get(), startOf,
                        [&](std::ptrdiff_t y, const double* sums) {
                            for (std::ptrdiff_t i = 0; i < ROWS && y + i <= lastRow; ++i) {
                                const std::ptrdiff_t copies =
                                    1 + (y + i == 0 ? ry : 0) + (y + i == lastRow ? ry : 0);
                                for (const std::ptrdiff_t end = row + copies; row < end; ++row)
                                    addTableRow(sums + i * m_columns, m_alongXY.get(),
                                                tableRow(row, slice - 1), tableRow(row, slice), m_columns);
                            }
                        });
    }

    const frame::VolumeView<const T>& m_in;
    const Kernel& m_kernel;
    std::ptrdiff_t m_first;
    std::ptrdiff_t m_end;
    std::ptrdiff_t m_columns; ///< table columns first ... end - 1 + kx
    const double* m_starts;
    Doubles m_rows;
    Doubles m_alongXY;
    Doubles m_ring; ///< table slices, slice z in slot z % (kz + 1); row 0 is the border of zeros
};

/// Columns a strip holds: its ring should stay in a core's second-level cache, and the columns that two strips both sum
/// should not weigh much.
std::ptrdiff_t columnsPerStrip(const Kernel& kernel, std::ptrdiff_t width, std::ptrdiff_t height)
{
    constexpr std::ptrdiff_t RING_BYTES = 1 << 20;
    const std::ptrdiff_t columnBytes = (kernel.z + 1) * (height + kernel.y) * std::ptrdiff_t(sizeof(double));
    return frame::evenPieceSize(
        width, std::max({RING_BYTES / columnBytes - kernel.x, 6 * kernel.x, std::ptrdiff_t(64)}));
}

/// For strips 1, 2, ...: the sums along x of all source rows up to the strip's first table column.
template <class T>
Doubles sumsBeforeStrips(const frame::VolumeView<const T>& in, const Kernel& kernel, std::ptrdiff_t columns,
                         std::ptrdiff_t strips)
{
    const std::ptrdiff_t rowCount = in.height() * in.depth();
    const std::ptrdiff_t lastColumn = (strips - 1) * columns;
    Doubles starts((strips - 1) * rowCount);
    if (strips == 1)
        return starts;
    frame::parallelFor(static_cast<int>(in.depth()), [&](int firstSlice, int endSlice) {
        Doubles rows(ROWS * (lastColumn + 1));
        for (std::ptrdiff_t z = firstSlice; z < endSlice; ++z) {
            forEachRowGroup(
                in, z, kernel.x / 2, 0, lastColumn, rows.get(), [](std::ptrdiff_t) { return 0.0; },
                [&](std::ptrdiff_t y, const double* sums) {
                    for (std::ptrdiff_t i = 0; i < ROWS && y + i < in.height(); ++i) {
                        for (std::ptrdiff_t strip = 1; strip < strips; ++strip)
                            starts.get()[(strip - 1) * rowCount + z * in.height() + y + i] =
                                sums[i * (lastColumn + 1) + strip * columns];
                    }
                });
        }
    });
    return starts;
}

template <class T> void filter(const ArvoImage3D& image, const Kernel& kernel, ArvoImage3D& result)
{
    const frame::VolumeView<const T> in(image);
    const frame::VolumeView<T> out(result);
    if (in.count() == 0)
        return;
    const std::ptrdiff_t columns = columnsPerStrip(kernel, in.width(), in.height());
    const std::ptrdiff_t strips = (in.width() - 1) / columns + 1;
    const Doubles starts = sumsBeforeStrips(in, kernel, columns, strips);
    frame::parallelFor(static_cast<int>(strips), [&](int firstStrip, int endStrip) {
        for (std::ptrdiff_t strip = firstStrip; strip < endStrip; ++strip) {
            const double* ownStarts =
                strip == 0 ? nullptr : starts.get() + (strip - 1) * in.height() * in.depth();
            Strip<T>(in, kernel, strip * columns, std::min((strip + 1) * columns, in.width()), ownStarts)
                .filterInto(out);
        }
    });
}

} // namespace

std::unique_ptr<ArvoImage3D>
ArvoImageCubicFilter::applyCubicFilter(const ArvoImage3D& image,
                                       const std::array<unsigned long long, 3>& kernelSize)
{
    if (!image.isValid())
        return nullptr;
    std::unique_ptr<ArvoImage3D> result;
    image::withElementType(image.dataType(), image::VoxelTypes{},
                           "ArvoImageCubicFilter : Cubic filter not implemented for this data type.",
                           [&](auto element) {
                               using T = typename decltype(element)::type;
                               const Kernel kernel = kernelOf(kernelSize, image.imageSize());
                               auto filtered = std::make_unique<ArvoImage3D>();
                               if (!filtered->createFrom(&image, image.dataType())) {
                                   qWarning("ArvoImageCubicFilter : cannot create the filtered volume.");
                                   return;
                               }
                               filter<T>(image, kernel, *filtered);
                               filtered->editFinished();
                               result = std::move(filtered);
                           });
    return result;
}
