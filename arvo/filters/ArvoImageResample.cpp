#include "arvo/filters/ArvoImageResample.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/TrilinearSampler.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"

#include <QMatrix4x4>
#include <QVector4D>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <vector>

namespace {

constexpr int ORIENTATION_TAG = 0x20001;

/// A position in continuous voxel indices of the input, or a step.
struct Point {
    float x, y, z;

    Point& operator+=(const Point& step)
    {
        x += step.x;
        y += step.y;
        z += step.z;
        return *this;
    }
};

/// How the output's voxel indices map to the input's.
struct Mapping {
    Point origin;
    Point stepX, stepY, stepZ;
};

/// The matrix from voxel indices to world coordinates; none when the orientation record is too short.
///
/// Matrices are made of 16 numbers throughout: those made by scaling or translating are inverted along another path,
/// which rounds differently.
std::optional<QMatrix4x4> placementOf(const ArvoImage3D& image)
{
    const QVector3D v = image.voxelSize();
    std::array<float, 9> columns = {v.x(), 0.0f, 0.0f, 0.0f, v.y(), 0.0f, 0.0f, 0.0f, v.z()};
    const ArvoImage3DInfo* record =
        image.info(ORIENTATION_TAG) ? image.info(QStringLiteral("ImageOrientation")) : nullptr;
    if (record) {
        if (record->size() < static_cast<qsizetype>(sizeof(columns)))
            return std::nullopt;
        std::memcpy(columns.data(), record->data(), sizeof(columns));
    }
    const auto& c = columns;
    const QMatrix4x4 linear(c[0], c[3], c[6], 0.0f, c[1], c[4], c[7], 0.0f, c[2], c[5], c[8], 0.0f, 0.0f,
                            0.0f, 0.0f, 1.0f);
    const math::Ivec3 n = image.imageSize();
    const QMatrix4x4 centring(1.0f, 0.0f, 0.0f, -0.5f * static_cast<float>(n.x), 0.0f, 1.0f, 0.0f,
                              -0.5f * static_cast<float>(n.y), 0.0f, 0.0f, 1.0f,
                              -0.5f * static_cast<float>(n.z), 0.0f, 0.0f, 0.0f, 1.0f);
    return linear * centring;
}

std::optional<Mapping> mappingBetween(const ArvoImage3D& in, const ArvoImage3D& out)
{
    const auto placementIn = placementOf(in);
    const auto placementOut = placementOf(out);
    if (!placementIn || !placementOut)
        return std::nullopt;
    bool isInvertible = false;
    const QMatrix4x4 toInput = placementIn->inverted(&isInvertible) * *placementOut;
    if (!isInvertible)
        return std::nullopt;
    const auto column = [&](int i) { return Point{toInput(0, i), toInput(1, i), toInput(2, i)}; };
    const QVector4D origin = toInput * QVector4D(0.0f, 0.0f, 0.0f, 1.0f);
    return Mapping{{origin.x() / origin.w(), origin.y() / origin.w(), origin.z() / origin.w()},
                   column(0),
                   column(1),
                   column(2)};
}

/// The parameters t of a row's positions start + t * step.
struct Interval {
    float first, last;

    /// Narrows it to positions in [0, limit] along one axis; false when the row misses that slab altogether.
    bool clip(float start, float step, float limit)
    {
        if (step == 0.0f)
            return start >= 0.0f && start <= limit;
        float entry = -start / step;
        float exit = (limit - start) / step;
        if (entry > exit)
            std::swap(entry, exit);
        first = entry > first ? entry : first;
        last = exit < last ? exit : last;
        return true;
    }
};

/// Rows that are sampled together, one position of each at a time: their positions advance side by side, where those of
/// a single row would wait for each other.
constexpr int LANES = frame::SamplePositions::COUNT;

/// Voxels of each row between two writes.
constexpr std::ptrdiff_t STEPS = 16;

/// The run of a row's voxels whose positions lie inside the input.
template <class T> struct Run {
    T* voxels;
    std::ptrdiff_t count;
    Point position; ///< of the first of them
};

template <class T> class RowSampler {
public:
    RowSampler(const ArvoImage3D& in, const Point& step, std::ptrdiff_t width)
        : m_sampler(in),
          m_size(in.imageSize()),
          m_step{step.x, step.y, step.z},
          m_width(width)
    {
    }

    /// The run of a row that starts at the given position; empty when the row misses the input.
    Run<T> runOf(const Point& start, T* row) const
    {
        const float width = static_cast<float>(m_width);
        Interval interval{0.0f, width};
        if (!interval.clip(start.x, m_step.x, static_cast<float>(m_size.x - 2)) ||
            !interval.clip(start.y, m_step.y, static_cast<float>(m_size.y - 2)) ||
            !interval.clip(start.z, m_step.z, static_cast<float>(m_size.z - 2)) ||
            !(interval.first <= width && interval.last >= 0.0f))
            return {row, 0, start};
        // The interval may reach to the width itself, one position past the row.
        const auto first = static_cast<std::ptrdiff_t>(std::ceil(interval.first));
        const auto end = std::min(static_cast<std::ptrdiff_t>(std::floor(interval.last)) + 1, m_width);
        const float t = static_cast<float>(first);
        return {row + first,
                std::max<std::ptrdiff_t>(end - first, 0),
                {start.x + t * m_step.x, start.y + t * m_step.y, start.z + t * m_step.z}};
    }

    /// Fills up to LANES runs.
    void sample(std::span<Run<T>> runs) const
    {
        std::ranges::sort(runs, std::ranges::greater{}, &Run<T>::count);
        frame::SamplePositions positions;
        for (std::ptrdiff_t i = 0; i < LANES; ++i)
            moveLane(positions, i,
                     runs[static_cast<std::size_t>(std::min(i, std::ssize(runs) - 1))].position);
        std::ptrdiff_t done = 0;
        for (std::ptrdiff_t active = std::ssize(runs); active > 0; --active) {
            // Lanes without a run of their own follow the longest one, and so stay inside the input.
            for (std::ptrdiff_t i = active; i < LANES; ++i)
                moveLane(positions, i, {positions.x[0], positions.y[0], positions.z[0]});
            const std::ptrdiff_t end = runs[static_cast<std::size_t>(active - 1)].count;
            for (; done < end; done += std::min(end - done, STEPS))
                march(positions, runs.first(static_cast<std::size_t>(active)), done,
                      std::min(end - done, STEPS));
        }
    }

private:
    static void moveLane(frame::SamplePositions& positions, std::ptrdiff_t lane, const Point& to)
    {
        positions.x[lane] = to.x;
        positions.y[lane] = to.y;
        positions.z[lane] = to.z;
    }

    /// Fills `steps` voxels of each run from `first` on.
    void march(frame::SamplePositions& positions, std::span<Run<T>> runs, std::ptrdiff_t first,
               std::ptrdiff_t steps) const
    {
        float samples[STEPS * LANES];
        m_sampler.march(positions, m_step, static_cast<int>(steps), samples);
        T voxels[STEPS * LANES];
        for (std::ptrdiff_t i = 0; i < steps * LANES; ++i)
            voxels[i] = image::toVoxel<T>(samples[i]);
        for (std::size_t lane = 0; lane < runs.size(); ++lane) {
            T* run = runs[lane].voxels + first;
            for (std::ptrdiff_t i = 0; i < steps; ++i)
                run[i] = voxels[i * LANES + static_cast<std::ptrdiff_t>(lane)];
        }
    }

    frame::TrilinearSampler<T> m_sampler;
    math::Ivec3 m_size;
    frame::SampleStep m_step;
    std::ptrdiff_t m_width;
};

template <class T> bool resample(const ArvoImage3D& in, ArvoImage3D& out, const Mapping& mapping)
{
    const math::Ivec3 from = in.imageSize();
    const math::Ivec3 to = out.imageSize();
    const std::ptrdiff_t width = to.x;
    if (out.sizeOfAxialSlice() == 0)
        return true; // an empty buffer has no address, which the output would refuse
    std::vector<T> slice(out.sizeOfAxialSlice() / sizeof(T));
    const bool hasCells = from.x >= 2 && from.y >= 2 && from.z >= 2;
    std::optional<RowSampler<T>> sampler;
    if (hasCells)
        sampler.emplace(in, mapping.stepX, width);
    Point sliceStart = mapping.origin;
    for (int z = 0; z < to.z; ++z, sliceStart += mapping.stepZ) {
        std::ranges::fill(slice, T(0));
        Point rowStart = sliceStart;
        for (std::ptrdiff_t y = 0; y < to.y && sampler; y += LANES) {
            std::array<Run<T>, LANES> runs;
            const auto count = static_cast<std::size_t>(std::min<std::ptrdiff_t>(to.y - y, LANES));
            for (std::size_t i = 0; i < count; ++i, rowStart += mapping.stepY)
                runs[i] =
                    sampler->runOf(rowStart, slice.data() + (y + static_cast<std::ptrdiff_t>(i)) * width);
            sampler->sample(std::span(runs).first(count));
        }
        if (!out.setAxialSlice(z, reinterpret_cast<const char*>(slice.data())))
            return frame::refuse("ArvoImageResampleHelper : resample failed due to memory issues.");
    }
    return true;
}

} // namespace

ArvoImageResample::ArvoImageResample() = default;
ArvoImageResample::ArvoImageResample(const ArvoImageResample&) = default;
ArvoImageResample& ArvoImageResample::operator=(const ArvoImageResample&) = default;
ArvoImageResample::~ArvoImageResample() = default;

bool ArvoImageResample::execute()
try {
    if (!m_input || !m_output)
        return frame::refuse("no input image or no output image");
    if (!m_input->isValid() || !m_output->isValid())
        return frame::refuse("ArvoImageResample : invalid input image or output image.");
    using ResampledTypes = image::TypeSet<image::UInt8, image::Int16, image::UInt16>;
    const bool isDone =
        image::withElementType(m_input->dataType(), ResampledTypes{}, nullptr, [&](auto element) {
            using T = typename decltype(element)::type;
            if (m_output->dataType() != m_input->dataType())
                return frame::refuse("ArvoImageResample : images must have the same data type.");
            const std::optional<Mapping> mapping = mappingBetween(*m_input, *m_output);
            if (!mapping)
                return frame::refuse("ArvoImageResample : the placement of an image cannot be used.");
            return resample<T>(*m_input, *m_output, *mapping);
        });
    if (isDone)
        m_output->editFinished();
    return isDone;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageResample : out of memory.");
}
