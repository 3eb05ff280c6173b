#pragma once

#include "arvo/frame/Export.h"
#include "arvo/platform/utility/Optional.h"

#include <array>
#include <cstddef>

class ArvoImage3D;

namespace primitives {
class OrientedBoundingBox;
}

/// The toolbox for binary volumes: labelling, part selection, thresholds, masks and boxes, slice-wise tools.
///
/// Member operations work from an input volume into an output volume, both set by the caller, who keeps owning them.
/// A copy works on the same two volumes. Everything runs on the calling thread.
class ARVO_VOLUME_EXPORT ArvoImageBinaryTools {
public:
    /// Which voxels touch: LABEL_DIAGONAL all 26 neighbours, any other value the 6 that share a face.
    enum LABEL_TYPE : int { LABEL_DIAGONAL = 0, LABEL_STRAIGHT = 1 };

    ArvoImageBinaryTools();
    ArvoImageBinaryTools(const ArvoImageBinaryTools&);
    ArvoImageBinaryTools& operator=(const ArvoImageBinaryTools&);
    virtual ~ArvoImageBinaryTools();

    void setInput(ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    ArvoImage3D* input() const { return m_input; }
    ArvoImage3D* output() const { return m_output; }

    /// Labels the connected parts of the input, a mask of one byte a voxel, in the output, a 16-bit volume of its size.
    ///
    /// Every non-zero byte is object. Background gets 0, the parts 1 to K without gaps, in the order in which their
    /// first voxels are met (x fastest, then y, then z). Returns K + 1.
    ///
    /// Labels are signed 16-bit numbers and saturate without a message: a voxel that has no object neighbour before it
    /// in that order starts a label, and the 32767th start and all later ones count as one part, with every part that
    /// holds one of them.
    ///
    /// A missing volume, other element widths or different sizes: one warning, 0, output untouched.
    /// O(n) time for n voxels; besides the volumes, 2 bytes for each run of object voxels along x, the bits of two
    /// slices and a table of 64 KiB. After Rosenfeld and Pfaltz, "Sequential operations in digital picture processing",
    /// J. ACM 13 (1966), on runs, with the two-pass union-find of Wu, Otoo and Suzuki, "Optimizing two-pass
    /// connected-component labeling algorithms", Pattern Anal. Appl. 12 (2009).
    int label(LABEL_TYPE type);

    /// Labels the object of the mask `in` and its background together, both by faces: the parts of the object get
    /// 1 to K1, those of the background K1 + 1 to K1 + K2. Returns K1 + K2.
    ///
    /// Each of the two is labelled as by label(LABEL_STRAIGHT), into a 16-bit volume of the same size; labels past 16
    /// bits wrap, the result does not. Failures and cost as there.
    static int labelImage(ArvoImage3D* in, ArvoImage3D* out);

    /// Writes the largest part of the input mask, by all neighbours, to the output as 1, everything else as 0.
    ///
    /// Of equal parts the one that label() meets first. A mask without object gives an output of ones: its background
    /// counts as the largest part. `partCount`, which may be null, receives the number of parts + 1. The output may be
    /// the input. Parts past the limit of label() count as one.
    ///
    /// False, silently, output and `partCount` untouched, unless both volumes are masks of type Binary of one size.
    /// O(n) time; besides the volumes, 2 bytes for each run of object voxels along x.
    bool keepLargestPart(int* partCount);

    /// Keeps the grey values of the largest part, by all neighbours, of the voxels above the threshold; every other
    /// voxel becomes the smallest value of the input.
    ///
    /// Input and output are 16-bit volumes of one size; the output may be the input. Ties and limit as above. Returns
    /// the number of voxels kept, 0 when none is above the threshold. Missing volumes, other widths or different sizes:
    /// one warning, 0, output untouched. O(n) time; besides the volumes, a mask of one byte a voxel.
    int keepLargestPart(int threshold);

    /// Writes the parts of the input mask, by all neighbours, that have a voxel on axial slice `slice` to the output as
    /// 1, everything else as 0; the second form only those of at least `minVolume` voxels. Returns the number of parts.
    ///
    /// Every non-zero byte is object. The output, of one byte a voxel, may be the input. Parts past the limit of label()
    /// count as one. Missing volumes, other widths, different sizes or a slice outside: one warning, 0, output untouched.
    /// O(n) time; besides the volumes, 2 bytes for each run of object voxels along x.
    int keepAllConnectedToSlice(int slice);
    int keepAllConnectedToSlice(int slice, int minVolume);

    /// Erodes every axial slice of the input on its own by a disc: a voxel becomes 0 when a zero voxel of its slice
    /// lies within the disc around it, otherwise it keeps its value.
    ///
    /// The disc holds the offsets at a distance below radius + 0.5; radius 0 copies. Radius 2:
    ///
    ///     . # # # .
    ///     # # # # #
    ///     # # # # #
    ///     # # # # #
    ///     . # # # .
    ///
    /// Beyond the border of the slice there is no background. Both volumes hold one byte a voxel; the output may be the
    /// input. Missing volumes, other widths, different sizes or a negative radius: one warning, output untouched.
    /// O(n r) time; besides the volumes, two slices.
    void erodeZ(int radius);

    /// Writes 1 to the output for every object voxel of the input that has a background voxel among its 26 neighbours
    /// inside the volume, 0 for every other; the faces of the volume make no edge.
    ///
    /// Both are masks of type Binary of one size; the output may be the input. Anything missing or of another type:
    /// "Edge detection: The images are not valid", output untouched; different sizes: one warning as well.
    /// O(n) time; besides the volumes, three slices.
    void edgeDetection();

    bool thresholdFilter(int threshold, bool strict);
    bool thresholdFilter(float threshold, bool strict);
    static bool thresholdFilter(const ArvoImage3D& in, ArvoImage3D& out, float threshold, bool strict);
    bool thresholdFilterLowHigh(int low, int high);

    static void applyMask(const ArvoImage3D* mask, ArvoImage3D* image, bool invert);
    static void convertByteToBinary(const ArvoImage3D* in, ArvoImage3D* out);
    static void convertBinaryToByte(ArvoImage3D* in, ArvoImage3D* out);
    static void convertMaskToBinary(ArvoImage3D* in, ArvoImage3D* out);

    static void addBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max, ArvoImage3D& mask);
    static void convertBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max,
                                 ArvoImage3D* mask);
    static bool getBoundingBox(ArvoImage3D* mask, std::array<int, 3>& min, std::array<int, 3>& max);
    static void maskWithBoundingBox(ArvoImage3D* image, const primitives::OrientedBoundingBox& box,
                                    bool inside, float value);

    static std::size_t countNonZeroVoxels(const ArvoImage3D& mask);
    static utility::Optional<std::size_t> countMismatchedVoxels(const ArvoImage3D& a, const ArvoImage3D& b);
    static bool compareRegionsOf3DBinaryImages(const ArvoImage3D* image, const ArvoImage3D* reference,
                                               int maxSmallerLayers, int maxLargerLayers);
    static ArvoImage3D* unionBinaryImages(ArvoImage3D* a, ArvoImage3D* b);

private:
    ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
};
