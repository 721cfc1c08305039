#include <Support/MemoryFault.h>
#include <System/Log/Line.h>
#include <System/Log/Logger.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>

namespace {

using Tovra::System::Log::Line;
using Tovra::System::Log::LineArgument;
using Tovra::System::Log::Logger;

template <class... Args>
std::string Compose(const Args&... arguments) {
    Line line;
    Logger::ComposeMessage(line, arguments...);
    return std::string(line.GetText());
}

/// The text that a stream makes of the same arguments.
template <class... Args>
std::string ComposeByStream(const Args&... arguments) {
    std::ostringstream stream;
    stream << std::left << std::setfill('0');
    (stream << ... << arguments) << '\n';
    return stream.str();
}

template <class Number>
void ExpectLimitsAsByStream() {
    for (const Number number : {std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(), Number{}}) {
        EXPECT_EQ(Compose(number), ComposeByStream(number));
    }
}

struct Answer {
    friend std::ostream& operator<<(std::ostream& stream, const Answer&) { return stream << "forty-two"; }
};

TEST(Line, HoldsTheArgumentsWithoutSeparators) {
    EXPECT_EQ(Compose("Process '", 4711, "' terminated successfully."), "Process '4711' terminated successfully.\n");
    EXPECT_EQ(Compose("Done."), "Done.\n");
}

TEST(Line, TakesTextOfEveryKind) {
    char buffer[8] = "buffer";
    const char* const pointer = "pointer";
    EXPECT_EQ(Compose("literal ", buffer, ' ', pointer, ' ', std::string("a\0b", 3), ' ', std::string_view("view")),
              std::string("literal buffer pointer a\0b view\n", 32));
    EXPECT_EQ(Compose(static_cast<char*>(buffer)), "buffer\n");
}

TEST(Line, ReadsAnArrayOfCharactersUpToItsZeroByte) {
    EXPECT_EQ(Compose("one\0two"), "one\n");
}

TEST(Line, WritesIntegersAsAStreamDoes) {
    ExpectLimitsAsByStream<short>();
    ExpectLimitsAsByStream<unsigned short>();
    ExpectLimitsAsByStream<int>();
    ExpectLimitsAsByStream<unsigned int>();
    ExpectLimitsAsByStream<long>();
    ExpectLimitsAsByStream<unsigned long>();
    ExpectLimitsAsByStream<long long>();
    ExpectLimitsAsByStream<unsigned long long>();
    EXPECT_EQ(Compose(true, false), "10\n");
    EXPECT_EQ(Compose('a', static_cast<signed char>('b'), static_cast<unsigned char>('c')), "abc\n");
}

TEST(Line, WritesFloatingPointNumbersAsAStreamDoes) {
    using Limits = std::numeric_limits<double>;
    for (const double number : {0.0,
                                -0.0,
                                1.0,
                                0.1,
                                2.5,
                                100000.0,
                                999999.0,
                                999999.4,
                                999999.5,
                                1e6,
                                123456789.0,
                                0.0001,
                                0.00012345678,
                                0.00001,
                                1e100,
                                -1e-100,
                                Limits::min(),
                                Limits::max(),
                                Limits::denorm_min(),
                                Limits::infinity(),
                                -Limits::infinity(),
                                Limits::quiet_NaN(),
                                -Limits::quiet_NaN(),
                                Limits::signaling_NaN()}) {
        EXPECT_EQ(Compose(number), ComposeByStream(number));
        EXPECT_EQ(Compose(static_cast<float>(number)), ComposeByStream(static_cast<float>(number)));
    }
}

TEST(Line, WritesAnyFloatingPointNumberAsAStreamDoes) {
    std::mt19937_64 generator(1);
    for (int count = 0; count < 20000; ++count) {
        const auto number = std::bit_cast<double>(generator());
        ASSERT_EQ(Compose(number), ComposeByStream(number));
        const double usual = static_cast<double>(generator() % 100'000'000) / 1000;
        ASSERT_EQ(Compose(usual), ComposeByStream(usual));
    }
}

TEST(Line, WritesDurationsAsAStreamDoes) {
    using namespace std::chrono_literals;
    EXPECT_EQ(Compose(250ns), "250ns\n");
    EXPECT_EQ(Compose(-1ns), ComposeByStream(-1ns));
    EXPECT_EQ(Compose(std::chrono::nanoseconds(250ms)), "250000000ns\n");
    EXPECT_EQ(Compose(3s), ComposeByStream(3s));
}

TEST(Line, SetsPathsInDoubleQuotes) {
    EXPECT_EQ(Compose('\'', std::filesystem::path("/tmp/a b"), "'."), "'\"/tmp/a b\"'.\n");
    for (const char* const path : {"", "/", "with \"quotes\"", "with\\backslash", "Grüße/世界", "line\nend"}) {
        EXPECT_EQ(Compose(std::filesystem::path(path)), ComposeByStream(std::filesystem::path(path)));
    }
    EXPECT_EQ(Compose(std::filesystem::path("a\"b\\c")), "\"a\\\"b\\\\c\"\n");
}

TEST(Line, TakesWhateverAStreamTakes) {
    static_assert(!LineArgument<Answer>);
    EXPECT_EQ(Compose("The answer is ", Answer(), '.'), "The answer is forty-two.\n");
    const int object = 0;
    EXPECT_EQ(Compose(static_cast<const void*>(&object)), ComposeByStream(static_cast<const void*>(&object)));
    EXPECT_EQ(Compose(0.1L), ComposeByStream(0.1L));
}

TEST(Line, TakesManipulatorsForTheArgumentsBehindThem) {
    EXPECT_EQ(Compose(static_cast<std::ios_base& (*)(std::ios_base&)>(std::hex), 255, ' ', std::setw(4), 7),
              "ff 7000\n");
}

TEST(Line, LeavesLineEndsInAMessageAsTheyAre) {
    EXPECT_EQ(Compose("one\ntwo\r\n"), "one\ntwo\r\n\n");
}

TEST(Line, NeedsNoMemoryUpToAThousandBytes) {
    const std::string text(400, 'x');
    Line line;
    {
        const Tovra::Tests::MemoryFault fault(1);
        line.Append(text);
        line.Append(text);
        line.Append(std::string_view(text).substr(200));
        EXPECT_FALSE(Tovra::Tests::MemoryFault::HasOccurred());
    }
    EXPECT_EQ(line.GetText(), std::string(1000, 'x'));
}

TEST(Line, TakesNoTextAsAnEmptyOne) {
    Line line;
    line.Append(std::string_view());
    EXPECT_EQ(line.GetText(), "");
    line.Append(std::string(1000, 'x'));
    line.Append(std::string_view());
    line.Append('y');
    line.Append(std::string_view());
    EXPECT_EQ(line.GetText(), std::string(1000, 'x') + 'y');
}

TEST(Line, TakesTextOfAnyLength) {
    for (const std::size_t size : {0u, 1u, 999u, 1000u, 1001u, 100000u}) {
        const std::string text(size, 'x');
        EXPECT_EQ(Compose(text), text + '\n');
        EXPECT_EQ(Compose("Begin ", text, ' ', 1, text), "Begin " + text + " 1" + text + '\n');
    }
}

} // namespace
