#include "arvo/binary/ArvoImageBinaryMorphologicalOperations.h"
#include "arvo/platform/math/OrientedBoundingBox.h"

#include "MaskTests.h"

#include <functional>

using namespace testing_support;
using Morphology = ArvoImageBinaryMorphologicalOperations;

/// The texts that hosts know, and refusals without one. What all bad calls have in common, such as that they change
/// nothing, is tested for all operations at once.
TEST(BinaryTools, WarnOfBadCallsInKnownWords)
{
    const math::Ivec3 size(3, 4, 3);
    ArvoImage3D mask = randomMask(size, 0.5, 1), thin = randomMask({3, 4, 2}, 0.5, 2);
    ArvoImage3D bytes = randomVolume(size, image::UInt8, 3), grey = randomVolume(size, image::Int16, 4);
    ArvoImage3D wide = randomVolume(size, image::Int32, 5), floats = randomVolume(size, image::Float32, 6);
    ArvoImage3D invalid;
    ArvoImage3D* const null = nullptr;

    using Call = std::function<bool(ArvoImage3D*, ArvoImage3D*)>; // whether it claims to have succeeded
    const Call largest = [](auto* a, auto* b) {
        int partCount = 77;
        return toolsOn(a, b).keepLargestPart(&partCount) || partCount != 77;
    };
    const Call threshold = [](auto* a, auto* b) { return toolsOn(a, b).thresholdFilter(1, true); };
    const Call lowHigh = [](auto* a, auto* b) { return toolsOn(a, b).thresholdFilterLowHigh(0, 10); };
    const Call edges = [](auto* a, auto* b) { return toolsOn(a, b).edgeDetection(), false; };
    const Call apply = [](auto* a, auto* b) { return Tools::applyMask(a, b, false), false; };
    const Call count = [](auto* a, auto* b) { return Tools::countMismatchedVoxels(*a, *b).has_value(); };
    const Call compare = [](auto* a, auto* b) { return Tools::compareRegionsOf3DBinaryImages(a, b, 99, 99); };
    const Call unite = [](auto* a, auto* b) { return Image(Tools::unionBinaryImages(a, b)) != nullptr; };
    const Call paint = [](auto* a, auto*) {
        return Tools::maskWithBoundingBox(a, primitives::OrientedBoundingBox({0, 0, 0, 9, 9, 9}), true, 1),
               false;
    };
    const Call dilate = [](auto* a, auto* b) {
        return Morphology::dilate(*a, *b, Morphology::cube(4)), false;
    };
    const Call erode = [](auto* a, auto* b) { return Morphology::erode(*a, *b, Morphology::cube(4)), false; };

    const std::string wrongType = "ArvoImage3D::thresholdFilter() Data type not implemented";
    const std::string noEdges = "Edge detection: The images are not valid";
    const std::string noMask = "ArvoImageBinaryTools::applyMask()  - invalid input images";
    const std::string noUnion = "ArvoImageBinaryTools::unionBinaryImages()  - invalid input images";
    const std::string notCompared =
        "ArvoImageBinaryTools::compareRegionsOf3DBinaryImages() failed to compare images";
    const std::string otherSize =
        "ArvoImageBinaryTools::differenceL1Norm failed due to different image sizes.";
    const std::string tooFewSlices =
        "Image size too small: image size should be larger than the stencil radius.";
    const struct {
        std::vector<Call> calls;
        std::vector<ArvoImage3D*> firsts;
        std::vector<ArvoImage3D*> seconds;
        std::string warning; // empty: silence
    } cases[] = {
        {{largest}, {null, &invalid, &bytes, &grey, &thin}, {&mask}, ""},
        {{largest}, {&mask}, {null, &invalid, &bytes, &grey, &thin}, ""},
        {{threshold, lowHigh}, {null}, {&mask}, ""},
        {{threshold, lowHigh}, {&grey}, {null, &bytes, &grey}, ""},
        {{threshold}, {&grey}, {&thin}, ""},
        {{threshold, lowHigh}, {&wide}, {&mask}, wrongType},
        {{lowHigh}, {&floats}, {&mask, &thin}, wrongType},
        {{lowHigh}, {&grey}, {&thin}, "ArvoImageBinaryTools : the output is smaller than the input."},
        {{edges}, {null, &invalid, &bytes}, {&mask}, noEdges},
        {{edges}, {&mask}, {null, &invalid, &bytes}, noEdges},
        {{apply}, {null, &invalid, &grey}, {&grey}, noMask},
        {{apply}, {&mask}, {null, &invalid}, noMask},
        {{apply}, {&mask, &thin}, {&wide}, wrongType},
        {{apply}, {&thin}, {&grey}, "ArvoImageBinaryTools : the mask is smaller than the image."},
        {{count}, {&mask}, {&thin}, otherSize},
        {{compare}, {null, &invalid, &grey, &thin}, {&mask, &thin}, notCompared},
        {{compare}, {&mask}, {null, &invalid, &grey, &thin}, notCompared},
        {{unite}, {null, &invalid, &bytes}, {&mask}, noUnion},
        {{unite}, {&mask}, {null, &invalid, &bytes}, noUnion},
        {{paint}, {null, &invalid}, {null}, "ArvoImageBinaryTools::maskWithBoundingBox()  - image not valid"},
        {{paint}, {&wide}, {null}, "ArvoImage3D::maskWithBoundingBox() Data type not implemented"},
        {{dilate, erode}, {&mask, &invalid}, {&mask, &invalid}, tooFewSlices},
    };
    for (const auto& [calls, firsts, seconds, warning] : cases) {
        for (const Call& call : calls) {
            for (ArvoImage3D* first : firsts) {
                for (ArvoImage3D* second : seconds) {
                    const Warnings warnings;
                    EXPECT_FALSE(call(first, second)) << warning;
                    EXPECT_EQ(warnings.texts(), warning.empty() ? Texts{} : Texts{warning});
                }
            }
        }
    }
}
