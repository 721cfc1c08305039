#include <System/Types/EnumValue.h>

#include <gtest/gtest.h>

#include <concepts>

namespace {

using Tovra::System::Types::EnumValue;

enum class Direction { Up = 7, Down };

static_assert(!std::convertible_to<int, EnumValue<Direction>>);

const char* GetName(EnumValue<Direction> direction) {
    switch (direction) {
    case Direction::Up:
        return "up";
    case Direction::Down:
        return "down";
    }
    return "";
}

TEST(EnumValue, TakesAnEnumeratorAndIsSwitchedOver) {
    EXPECT_STREQ(GetName(Direction::Up), "up");
    EXPECT_STREQ(GetName(Direction::Down), "down");
}

TEST(EnumValue, ComparesAsItsEnumerator) {
    const EnumValue<Direction> direction = Direction::Down;
    EXPECT_TRUE(direction == Direction::Down);
    EXPECT_TRUE(direction != Direction::Up);
    EXPECT_TRUE(direction == EnumValue(Direction::Down));
}

} // namespace
