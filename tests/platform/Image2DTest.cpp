#include "arvo/platform/image/Image2D.h"

#include <gtest/gtest.h>

namespace {

TEST(Image2D, LoadsPixelsAndMoves)
{
    Image2D image(3, 2, Image2D::Int16, {1, 2, 3}, true);
    ASSERT_TRUE(image.isValid());
    EXPECT_EQ(std::vector<char>(image.dataPtr(), image.dataPtr() + 12), std::vector<char>(12));
    const char pixels[] = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(image.loadFromData(pixels, 2, 3, Image2D::UInt8));
    EXPECT_FALSE(image.loadFromData(nullptr, 2, 2, Image2D::UInt8));
    EXPECT_FALSE(image.loadFromData(pixels, -2, 2, Image2D::UInt8));
    EXPECT_FALSE(image.loadFromData(pixels, 2, 2, static_cast<Image2D::DataType>(9)));
    const Image2D moved = std::move(image);
    EXPECT_EQ(moved.width(), 2);
    EXPECT_EQ(moved.height(), 3);
    EXPECT_EQ(moved.dataType(), Image2D::UInt8);
    EXPECT_EQ(moved.pixelSize(), QVector3D(1, 2, 3));
    EXPECT_EQ(moved.dataPtr()[5], 6);
}

} // namespace
