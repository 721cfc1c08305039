#include <System/Types/Geometry.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

using namespace Tovra::System::Math;

static_assert(std::is_same_v<decltype(Coordinate2::x), std::int32_t>);
static_assert(std::is_same_v<decltype(Size2::height), std::int32_t>);
static_assert(std::is_trivially_copyable_v<Rectangle>);

TEST(Geometry, RectangleIsTwoCornersInTheirOrder) {
    const Rectangle rectangle = {1, -2, 3, 4};
    EXPECT_EQ(rectangle.left, 1);
    EXPECT_EQ(rectangle.top, -2);
    EXPECT_EQ(rectangle.right, 3);
    EXPECT_EQ(rectangle.bottom, 4);
    EXPECT_EQ(sizeof(Rectangle), 16u);
    EXPECT_EQ(offsetof(Rectangle, bottom), 12u);
}

TEST(Geometry, ComparesByItsFields) {
    EXPECT_EQ((Coordinate2{1, 2}), (Coordinate2{1, 2}));
    EXPECT_NE((Coordinate2{1, 2}), (Coordinate2{2, 1}));
    EXPECT_NE((Size2{1, 2}), (Size2{1, 3}));
    EXPECT_NE((Rectangle{1, 2, 3, 4}), (Rectangle{1, 2, 3, 5}));
}

TEST(Geometry, IsZeroAtFirst) {
    EXPECT_EQ(Coordinate2(), (Coordinate2{0, 0}));
    EXPECT_EQ(Size2(), (Size2{0, 0}));
    EXPECT_EQ(Rectangle(), (Rectangle{0, 0, 0, 0}));
}

} // namespace
