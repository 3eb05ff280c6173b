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
    /// The copy works on the same two volumes.
    /// @{
    ArvoImageBinaryTools(const ArvoImageBinaryTools&);
    ArvoImageBinaryTools& operator=(const ArvoImageBinaryTools&);
    /// @}
    virtual ~ArvoImageBinaryTools();

    /// The volumes that the member operations read and write; not owned.
    /// @{
    void setInput(ArvoImage3D* input) { m_input = input; }
    void setOutput(ArvoImage3D* output) { m_output = output; }
    ArvoImage3D* input() const { return m_input; }
    ArvoImage3D* output() const { return m_output; }
    /// @}

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
    /// O(n) time for n voxels; besides the volumes, 2 to 4 bytes for each run of object voxels along x (6 while the
    /// list grows), the bits of two slices and a table of 64 KiB. After Rosenfeld and Pfaltz, "Sequential operations in
    /// digital picture processing", J. ACM 13 (1966), on runs, with the two-pass union-find of Wu, Otoo and Suzuki,
    /// "Optimizing two-pass connected-component labeling algorithms", Pattern Anal. Appl. 12 (2009).
    int label(LABEL_TYPE type);

    /// Labels the object of the mask `in` and its background together, both by faces: the parts of the object get
    /// 1 to K1, those of the background K1 + 1 to K1 + K2. Returns K1 + K2.
    ///
    /// Each of the two is labelled as by label(LABEL_STRAIGHT), into a 16-bit volume of the same size; labels past 16
    /// bits wrap, the result does not. Failures and cost as there; without memory, `out` may be left half painted.
    static int labelImage(ArvoImage3D* in, ArvoImage3D* out);

    /// Writes the largest part of the input mask, by all neighbours, to the output as 1, everything else as 0.
    ///
    /// Of equal parts the one that label() meets first. A mask without object gives an output of ones: its background
    /// counts as the largest part. `partCount`, which may be null, receives the number of parts + 1. The output may be
    /// the input. Parts past the limit of label() count as one.
    ///
    /// False, silently, output and `partCount` untouched, unless both volumes are masks of type Binary of one size.
    /// O(n) time; besides the volumes, the runs as in label().
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
    /// O(n) time; besides the volumes, the runs as in label().
    /// @{
    int keepAllConnectedToSlice(int slice);
    int keepAllConnectedToSlice(int slice, int minVolume);
    /// @}

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
    /// O(n r) time; besides the volumes, three slices of one bit a voxel.
    void erodeZ(int radius);

    /// Writes 1 to the output for every object voxel of the input that has a background voxel among its 26 neighbours
    /// inside the volume, 0 for every other; the faces of the volume make no edge.
    ///
    /// Both are masks of type Binary of one size; the output may be the input. Anything missing or of another type:
    /// "Edge detection: The images are not valid", output untouched; different sizes: one warning as well.
    /// O(n) time; besides the volumes, three slices.
    void edgeDetection();

    /// The static thresholdFilter from the input into the output. False, silently, when one of them is missing.
    /// @{
    bool thresholdFilter(int threshold, bool strict);
    bool thresholdFilter(float threshold, bool strict);
    /// @}

    /// out = 1 where the voxel of `in` is above the threshold (`strict`) or at least the threshold, else 0.
    ///
    /// 16-bit voxels are compared with the threshold truncated toward zero to a 32-bit integer, bytes with the low byte
    /// of that integer (300 acts as 44), floats with the threshold itself; NaN never passes. `out` is Binary and has the
    /// size of `in`, else false, silently; byte volumes may be filtered in place. Another input type:
    /// "ArvoImage3D::thresholdFilter() Data type not implemented", false, `out` untouched.
    static bool thresholdFilter(const ArvoImage3D& in, ArvoImage3D& out, float threshold, bool strict);

    /// Output = 1 where low < input < high, else 0.
    ///
    /// Unsigned 16-bit voxels are compared with the bounds as they are, signed ones with the bounds cut to signed 16
    /// bits, bytes with the bounds cut to their low byte. False, silently, unless both volumes are set and the output is
    /// Binary; an output smaller than the input is refused with a warning, a larger one is used as far as the input's
    /// slices go. Any other input type, Float32 included: the warning of thresholdFilter, false, output untouched.
    bool thresholdFilterLowHigh(int low, int high);

    /// Sets the voxels of `image` to 0 outside the mask, or with `invert` inside it. Any non-zero mask byte is inside.
    ///
    /// Image: 16-bit, 8-bit or float voxels; any other type gives the warning of thresholdFilter. A missing or invalid
    /// volume, or a mask whose type is neither UInt8 nor Binary:
    /// "ArvoImageBinaryTools::applyMask()  - invalid input images". A mask smaller than the image is refused with a
    /// warning. The image stays as it was in all of these cases.
    static void applyMask(const ArvoImage3D* mask, ArvoImage3D* image, bool invert);

    /// The conversions go over the voxels of `in`, one byte each, and write as many bytes of `out`, which may be `in`.
    /// A missing or invalid volume or an `out` smaller than `in`: one warning, nothing written.
    ///
    /// out = 1 where the byte, read as unsigned, is above 0, else 0.
    static void convertByteToBinary(const ArvoImage3D* in, ArvoImage3D* out);
    /// The display image of a mask: out = 0 on the object, 50 on the background.
    static void convertBinaryToByte(ArvoImage3D* in, ArvoImage3D* out);
    /// The inverted mask: out = 1 where the byte is 0, else 0. Leaves it to the caller to call editFinished() on `out`.
    static void convertMaskToBinary(ArvoImage3D* in, ArvoImage3D* out);

    /// Sets the bytes of the box `min` to `max` (voxels x, y, z, both ends inclusive), clamped to the mask, to 1 and
    /// keeps the rest. An invalid mask: one warning.
    static void addBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max, ArvoImage3D& mask);
    /// As addBoxToMask, after all voxels were set to 0.
    static void convertBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max,
                                 ArvoImage3D* mask);

    /// The box of the object voxels, both ends inclusive; object are the bytes that, read as signed, are above 0, so
    /// 128 to 255 are not. False, with min = the size of the mask and max = (-1, -1, -1), when there is none. A missing
    /// or invalid mask: one warning, false, min and max untouched. O(n) time, one row of scratch.
    static bool getBoundingBox(ArvoImage3D* mask, std::array<int, 3>& min, std::array<int, 3>& max);

    /// Writes `value` into every voxel inside the box, or with `inside` = false into every other voxel.
    ///
    /// The box is given in world units and carried into voxel indices by 1 / voxel size; a voxel is inside when its
    /// index point is, see OrientedBoundingBox::isInside. Types 0, 1, 2, 3 and 5; for integer voxels the value is
    /// truncated toward zero and cut to the element's width. A missing or invalid image:
    /// "ArvoImageBinaryTools::maskWithBoundingBox()  - image not valid"; another type:
    /// "ArvoImage3D::maskWithBoundingBox() Data type not implemented"; nothing changed.
    static void maskWithBoundingBox(ArvoImage3D* image, const primitives::OrientedBoundingBox& box,
                                    bool inside, float value);

    /// The number of bytes that, read as signed, are at least 1, one byte a voxel. An invalid mask: one warning, 0.
    static std::size_t countNonZeroVoxels(const ArvoImage3D& mask);

    /// The number of voxels whose bytes differ; 0 without voxels. Different sizes:
    /// "ArvoImageBinaryTools::differenceL1Norm failed due to different image sizes." and nothing.
    static utility::Optional<std::size_t> countMismatchedVoxels(const ArvoImage3D& a, const ArvoImage3D& b);

    /// Whether the object of `image` reaches at most maxLargerLayers voxel layers beyond the object of `reference` and
    /// misses at most maxSmallerLayers layers of it, both by the unsigned Image3DDistanceMap.
    ///
    /// Both volumes have one byte a voxel (UInt8 or Binary), every non-zero byte is object; all extents of the
    /// reference are at least 3 and the image is not smaller than it. What reaches too far gives
    /// "Image object is up to N voxel layers larger than the reference object" and false; else, what misses too much
    /// gives the same with "smaller". Whatever cannot be compared gives
    /// "ArvoImageBinaryTools::compareRegionsOf3DBinaryImages() failed to compare images" and false.
    /// O(n) time; 3 bytes of scratch for each voxel.
    static bool compareRegionsOf3DBinaryImages(const ArvoImage3D* image, const ArvoImage3D* reference,
                                               int maxSmallerLayers, int maxLargerLayers);

    /// A new volume with the type, size and voxel size of `a`, each voxel the larger of the two bytes, compared as
    /// signed; the caller owns it. Unless both are valid and Binary:
    /// "ArvoImageBinaryTools::unionBinaryImages()  - invalid input images" and null. A `b` smaller than `a`, or memory
    /// that cannot be had: one warning, null.
    static ArvoImage3D* unionBinaryImages(ArvoImage3D* a, ArvoImage3D* b);

private:
    ArvoImage3D* m_input = nullptr;
    ArvoImage3D* m_output = nullptr;
};
