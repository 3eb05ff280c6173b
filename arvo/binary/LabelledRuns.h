#pragma once

#include "arvo/frame/VolumeView.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace binary {

/// The connected parts of a mask, kept as one label for each run of set voxels instead of one for each voxel.
///
/// Labels 1 to K in the order in which a part is met first (x fastest, then y, then z). Labels are 16-bit: a voxel
/// without a set neighbour before it in that order is the start of a part, and the 32767th start and all later ones
/// count as one part, with everything connected to any of them.
///
/// The mask is not copied: it stays with the caller and must not change before the parts have been painted. Memory is
/// 2 to 4 bytes for each run (6 while the list grows), a table of 64 KiB and three bits a voxel for two slices.
class LabelledRuns {
public:
    using Mask = frame::VolumeView<const unsigned char>;
    enum class Neighbours { Face, All }; ///< 6 or 26
    enum class Voxels { NonZero, Zero }; ///< which voxels of the mask are labelled

    /// Labels the mask; nothing, with a warning, when there is no memory for it. O(n) for n voxels.
    static std::optional<LabelledRuns> of(const Mask& mask, Neighbours neighbours,
                                          Voxels voxels = Voxels::NonZero);

    /// K.
    int partCount() const { return m_partCount; }
    /// The number of voxels of each label, 0 to K; that of label 0 is 0. With a flag, which is looked at before each
    /// row: no numbers at all when it was found raised.
    std::vector<std::int64_t> volumes(const std::atomic<bool>* cancel = nullptr) const;
    /// The label of a voxel inside the mask, 0 when it is not set.
    int labelAt(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const;
    /// For each label, 0 to K, whether it has a voxel on slice z, which lies inside the mask.
    std::vector<unsigned char> partsOnSlice(std::ptrdiff_t z) const;

    /// The voxels [begin, end) of a row; none when begin == end.
    struct Columns {
        std::ptrdiff_t begin;
        std::ptrdiff_t end;
    };
    /// For each label, 0 to K, whether it has a voxel, on any slice, in the columns given for its row y.
    std::vector<unsigned char> partsInColumns(const std::vector<Columns>& columnsOfRow) const;

    /// Gives every voxel of `out` (T: unsigned char or short), a volume of the size of the mask, the value of its
    /// label; there are K + 1 values. `out` may be the mask. With a flag, which is looked at before each row: false,
    /// and the rest as it was, when it was found raised.
    template <class T>
    bool paint(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel,
               const std::atomic<bool>* cancel = nullptr) const;
    /// As paint, except that the voxels of label 0 keep what they hold.
    template <class T>
    void paintOver(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel) const;

private:
    LabelledRuns(const Mask& mask, Voxels voxels);
    void scan(Neighbours neighbours);

    template <bool Over, class T>
    bool paintRows(const frame::VolumeView<T>& out, const std::vector<T>& valueOfLabel,
                   const std::atomic<bool>* cancel) const;

    Mask m_mask;
    bool m_isInverted;
    int m_partCount = 0;
    std::vector<std::uint16_t> m_labels;     // of each run, in scan order
    std::vector<std::size_t> m_firstOfSlice; // the first run of each slice, and the number of runs
};

} // namespace binary
