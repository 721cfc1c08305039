#pragma once

#include <MacOS/Doubles/Objects.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests {

/// A call that can fail, and the result of an operation in which it does.
struct FailedCall {
    std::string function;
    std::string result;
    std::optional<std::string> lastingResult = {}; ///< If all later calls fail, too, where that differs.
};

/// A fixture for the macOS host on the doubles: what macOS would not forgive is a failure, as is an object left over.
class MacHostTest : public ::testing::Test {
protected:
    MacHostTest() {
        Doubles::calls.onMisuse = [](const std::string& what) { ADD_FAILURE() << "macOS would not forgive: " << what; };
    }
    ~MacHostTest() override { EXPECT_THAT(Doubles::GetLeaks(), ::testing::IsEmpty()); }

    /// The calls made since the last time that they were taken. Questions for an object's kind are left out, since they
    /// change nothing.
    static std::vector<std::string> TakeCalls() {
        std::vector<std::string> made = std::exchange(Doubles::calls.made, {});
        std::erase_if(made, [](const std::string& call) { return call.starts_with("CFGetTypeID("); });
        return made;
    }

    /// Makes each call of an operation fail that can fail in this way, once and then with all later ones, and expects
    /// the result that `expected` has for it, in the order of the calls. Nothing may be left over.
    static void Sweep(Doubles::Failure failure, const std::function<std::string()>& operation,
                      const std::vector<FailedCall>& expected) {
        using Doubles::calls;
        const std::vector<std::string> leaksBefore = Doubles::GetLeaks();
        const auto run = [&](std::size_t failing, bool lasts) {
            calls.failure = failure;
            calls.failing = failing;
            calls.lasts = lasts;
            calls.fallible.clear();
            calls.made.clear();
            const std::string result = operation();
            calls.failing = 0;
            EXPECT_EQ(Doubles::GetLeaks(), leaksBefore) << "call " << failing << (lasts ? " and all later ones" : "");
            return result;
        };
        run(0, false);
        std::vector<std::string> functions;
        for (const FailedCall& call : expected) {
            functions.push_back(call.function);
        }
        EXPECT_EQ(calls.fallible, functions);
        for (std::size_t index = 0; index < expected.size(); ++index) {
            const FailedCall& call = expected[index];
            const std::string name = call.function + ", call " + std::to_string(index + 1);
            EXPECT_EQ(run(index + 1, false), call.result) << name << " fails once";
            EXPECT_EQ(run(index + 1, true), call.lastingResult.value_or(call.result))
                << name << " and all later ones fail";
        }
    }

    /// The same for calls that fail by their result.
    static void Sweep(const std::function<std::string()>& operation, const std::vector<FailedCall>& expected) {
        Sweep(Doubles::Failure::Error, operation, expected);
    }
};

} // namespace Tovra::Tests
