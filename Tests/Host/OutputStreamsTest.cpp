#include <Support/ConsoleFile.h>
#include <Support/InterruptedBuffer.h>
#include <Support/StreamPieces.h>
#include <Support/TemporaryFolder.h>
#include <System/Log/OutputStreams.h>

#include <gmock/gmock.h>

#include <csignal>
#include <iostream>
#include <streambuf>
#include <string>

namespace {

using Tovra::System::Log::OutputStream;
using Tovra::System::Log::WriteAndFlush;
using Tovra::Tests::ConsoleFile;
using Tovra::Tests::InterruptedBuffer;
using Tovra::Tests::StreamPieces;
using Tovra::Tests::TemporaryFolder;

/// A stream's buffer that takes nothing.
class FullBuffer final : public std::streambuf {};

struct StreamCase {
    OutputStream stream;
    std::ostream& object;
};

class OutputStreamsTest : public ::testing::TestWithParam<StreamCase> {
protected:
    ~OutputStreamsTest() override { std::signal(SIGTERM, SIG_DFL); }

    TemporaryFolder m_folder;
};

TEST_P(OutputStreamsTest, WriteToTheDescriptorInAHandlerThatInterruptsThem) {
    std::signal(SIGTERM, [](int) {
        EXPECT_FALSE(WriteAndFlush(OutputStream::Output, "output "));
        EXPECT_FALSE(WriteAndFlush(OutputStream::Error, "error "));
    });
    {
        const ConsoleFile output(m_folder.GetPath() / "output");
        const ConsoleFile errors(m_folder.GetPath() / "errors", STDERR_FILENO);
        const InterruptedBuffer buffer(GetParam().object);
        EXPECT_TRUE(WriteAndFlush(GetParam().stream, "interrupted"));
        EXPECT_EQ(buffer.GetText(), "interrupted");
    }
    EXPECT_EQ(m_folder.Read("output"), "output output ");
    EXPECT_EQ(m_folder.Read("errors"), "error error ");
}

TEST_P(OutputStreamsTest, AreWrittenToAgainAfterAnException) {
    std::ostream& stream = GetParam().object;
    FullBuffer full;
    std::streambuf* const previous = stream.rdbuf(&full);
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(WriteAndFlush(GetParam().stream, "lost"), std::ios_base::failure);
    stream.exceptions(std::ios_base::goodbit);
    stream.rdbuf(previous);
    const StreamPieces pieces(stream);
    WriteAndFlush(GetParam().stream, "text");
    EXPECT_THAT(pieces.Get(), ::testing::ElementsAre("text"));
}

INSTANTIATE_TEST_SUITE_P(Both, OutputStreamsTest,
                         ::testing::Values(StreamCase{OutputStream::Output, std::cout},
                                           StreamCase{OutputStream::Error, std::cerr}),
                         [](const auto& info) {
                             return info.param.stream == OutputStream::Error ? "Error" : "Output";
                         });

} // namespace
