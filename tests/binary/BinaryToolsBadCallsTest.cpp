#include "arvo/binary/ArvoImageBinaryTools.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"
#include "support/Warnings.h"

#include <functional>

using namespace testing_support;
using Tools = ArvoImageBinaryTools;

TEST(BinaryTools, RefuseBadCallsAndTouchNothing)
{
    const math::Ivec3 size(3, 2, 2);
    ArvoImage3D mask = randomMask(size, 0.5, 1), otherMask = randomMask(math::Ivec3(3, 2, 1), 0.5, 2);
    ArvoImage3D grey = randomVolume(size, image::Int16, 3);
    ArvoImage3D otherGrey = randomVolume(math::Ivec3(2, 3, 2), image::Int16, 4);
    ArvoImage3D bytes = randomVolume(size, image::UInt8, 5), invalid;
    ArvoImage3D* const images[] = {&mask, &otherMask, &grey, &otherGrey, &bytes};
    std::vector<ArvoImage3D> before;
    for (const ArvoImage3D* image : images)
        before.push_back(copyOf(*image));
    int partCount = 77;

    using Call = std::function<int(Tools&)>;
    using Images = std::vector<ArvoImage3D*>;
    const Call label = [](Tools& tools) { return tools.label(Tools::LABEL_STRAIGHT); };
    const Call labelImage = [](Tools& tools) { return Tools::labelImage(tools.input(), tools.output()); };
    const Call largest = [&](Tools& tools) { return tools.keepLargestPart(&partCount); };
    const Call largestGrey = [](Tools& tools) { return tools.keepLargestPart(1); };
    const Call onSlice = [](Tools& tools) { return tools.keepAllConnectedToSlice(0); };
    const Call onSliceMin = [](Tools& tools) { return tools.keepAllConnectedToSlice(0, 1); };
    const Call beforeFirst = [](Tools& tools) { return tools.keepAllConnectedToSlice(-1); };
    const Call afterLast = [](Tools& tools) { return tools.keepAllConnectedToSlice(2, 1); };
    const Call erode = [](Tools& tools) { return tools.erodeZ(1), 0; };
    const Call erodeNegative = [](Tools& tools) { return tools.erodeZ(-1), 0; };
    const Call edges = [](Tools& tools) { return tools.edgeDetection(), 0; };
    const std::string tools = "ArvoImageBinaryTools : ";
    const std::string noEdges = "Edge detection: The images are not valid";
    const std::string sizesDiffer = tools + "input and output image differ in size.";
    const std::string noSlice = tools + "the slice lies outside the image.";
    const struct {
        std::vector<Call> calls;
        Images inputs;
        Images outputs;
        std::string warning; // empty: none
    } cases[] = {
        {{label, labelImage}, {nullptr, &invalid, &grey}, {&grey}, tools + "no valid mask to label."},
        {{label, labelImage},
         {&mask},
         {nullptr, &invalid, &bytes},
         tools + "no valid 16-bit volume for the labels."},
        {{label, labelImage},
         {&otherMask},
         {&grey, &otherGrey},
         tools + "mask and label volume differ in size."},
        {{largest}, {nullptr, &invalid, &bytes, &grey, &otherMask}, {&mask}, ""},
        {{largest}, {&mask}, {nullptr, &invalid, &bytes, &grey, &otherMask}, ""},
        {{largestGrey}, {nullptr, &mask}, {&grey}, tools + "no valid input image to select parts of."},
        {{onSlice, onSliceMin},
         {nullptr, &grey},
         {&mask},
         tools + "no valid input image to select parts of."},
        {{largestGrey}, {&grey}, {nullptr, &mask}, tools + "no valid output image for the selected parts."},
        {{onSlice, onSliceMin},
         {&mask},
         {nullptr, &grey},
         tools + "no valid output image for the selected parts."},
        {{onSlice, onSliceMin, erode, edges}, {&mask}, {&otherMask}, sizesDiffer},
        {{largestGrey}, {&grey}, {&otherGrey}, sizesDiffer},
        {{beforeFirst, afterLast}, {&mask}, {&mask}, noSlice},
        {{erode}, {nullptr, &invalid, &grey}, {&mask}, tools + "no valid byte images to erode."},
        {{erode}, {&mask}, {nullptr, &invalid, &grey}, tools + "no valid byte images to erode."},
        {{erodeNegative}, {&mask}, {&mask}, tools + "the erosion radius is negative."},
        {{edges}, {nullptr, &invalid, &bytes}, {&mask}, noEdges},
        {{edges}, {&mask}, {nullptr, &invalid, &bytes}, noEdges},
    };
    for (const auto& [calls, inputs, outputs, warning] : cases) {
        for (const Call& call : calls) {
            for (ArvoImage3D* input : inputs) {
                for (ArvoImage3D* output : outputs) {
                    Tools object;
                    object.setInput(input);
                    object.setOutput(output);
                    const Warnings warnings;
                    EXPECT_EQ(0, call(object));
                    EXPECT_EQ(warning.empty() ? std::vector<std::string>{} : std::vector{warning},
                              warnings.texts());
                }
            }
        }
    }
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_TRUE(sameBits(before[i], *images[i])) << i;
    EXPECT_EQ(77, partCount);
}
