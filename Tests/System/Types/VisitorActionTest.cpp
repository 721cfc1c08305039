#include <System/Types/VisitorAction.h>

#include <gtest/gtest.h>

namespace {

using Tovra::System::VisitorAction;

TEST(VisitorAction, HasTheTwoSettledValues) {
    EXPECT_EQ(static_cast<int>(VisitorAction::Continue), 1);
    EXPECT_EQ(static_cast<int>(VisitorAction::Stop), 2);
}

} // namespace
