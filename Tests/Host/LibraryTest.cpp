#include <Support/InChild.h>
#include <Support/XServer.h>
#include <System/X11/X11_Linux.h>

#include <gmock/gmock.h>

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;

using ::testing::StrEq;

/// Calls `function` of a type with and without a result, within a call and outside of one, and expects that the landing
/// place is then what it was before.
template <class Result>
void ExpectTheLandingPlaceKept(Result (*function)()) {
    static X11::Call<Result (*)()> s_inner;
    s_inner = function;
    const X11::Call<void (*)()> outer(+[] {
        std::jmp_buf* const place = X11::s_exit;
        EXPECT_NE(place, nullptr);
        s_inner();
        EXPECT_EQ(X11::s_exit, place) << "Within a call.";
    });
    outer();
    EXPECT_EQ(X11::s_exit, nullptr);
    s_inner();
    EXPECT_EQ(X11::s_exit, nullptr) << "Outside of one.";
}

} // namespace

TEST(Library, ACallLeavesNoLandingPlaceBehindWhenItReturns) {
    ExpectTheLandingPlaceKept<void>([] { EXPECT_NE(X11::s_exit, nullptr); });
    ExpectTheLandingPlaceKept<int>([] {
        EXPECT_NE(X11::s_exit, nullptr);
        return 1;
    });
}

TEST(Library, ACallLeavesNoLandingPlaceBehindWhenItIsLeft) {
    const auto leave = [] {
        ExpectTheLandingPlaceKept<void>([] {
            X11::AbandonConnection();
            ADD_FAILURE() << "It goes on all the same.";
        });
    };
    EXPECT_IN_CHILD(leave(), StrEq(lossReport));
    const auto leaveWithAResult = [] {
        ExpectTheLandingPlaceKept<int>([] {
            X11::AbandonConnection();
            ADD_FAILURE() << "It goes on all the same.";
            return 1;
        });
    };
    EXPECT_IN_CHILD(leaveWithAResult(), StrEq(lossReport));
}

} // namespace Tovra::Tests
