#include "arvo/platform/image/Image2D.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/FloatingImageContainer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

TEST(Image2D, LoadsPixelsAndMoves)
{
    Image2D image(3, 2, Image2D::Int16, {1, 2, 3}, true);
    ASSERT_TRUE(image.isValid());
    EXPECT_TRUE(std::all_of(image.dataPtr(), image.dataPtr() + 12, [](char byte) { return byte == 0; }));
    const std::array<unsigned char, 4> pixels = {1, 2, 3, 4};
    ASSERT_TRUE(image.loadFromData(reinterpret_cast<const char*>(pixels.data()), 2, 2, Image2D::UInt8));
    EXPECT_EQ(image.width(), 2);
    EXPECT_EQ(image.dataType(), Image2D::UInt8);
    EXPECT_EQ(image.pixelSize(), QVector3D(1, 2, 3));
    EXPECT_FALSE(image.loadFromData(nullptr, 2, 2, Image2D::UInt8));
    EXPECT_FALSE(image.loadFromData(image.dataPtr(), -2, 2, Image2D::UInt8));
    const Image2D moved = std::move(image);
    EXPECT_EQ(moved.dataPtr()[3], 4);
    EXPECT_FALSE(Image2D(2, 2, static_cast<Image2D::DataType>(9), {}, false).isValid());
}

TEST(Conversions, KeepTypesAndVectors)
{
    EXPECT_EQ(conversions::toImage2DDataType(image::Float32), Image2D::Float32);
    const QVector3D vector(1, 2, 3);
    EXPECT_EQ(data::Conversions::toArray(vector)[2], 3.0f);
}

TEST(FloatingImageContainer, OwnsItsVolume)
{
    auto image = std::make_unique<ArvoImage3D>();
    const ArvoImage3D* address = image.get();
    const FloatingImageContainer container(std::move(image), {0, 1, 2}, {3, 4, 5});
    EXPECT_EQ(container.getImage(), address);
    EXPECT_EQ(container.getTopRight(), QVector3D(3, 4, 5));
}

} // namespace
