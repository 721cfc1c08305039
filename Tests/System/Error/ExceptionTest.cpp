#include <Fakes/ErrorHandler.h>
#include <System/Error/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <concepts>
#include <exception>
#include <sstream>
#include <string>
#include <type_traits>

namespace {

using namespace Tovra::System::Error;
using Tovra::SystemCreationException;
using Tovra::SystemInitializationException;
using Tovra::System::GUID;
using Tovra::System::Debug::CallStack;

constexpr GUID guid = {0x0123456789ABCDEF, 0xFEDCBA9876543210};

const CallStack& GetPosition() {
    static const CallStack position("/x/Source/System/Log/Log.cpp", 7, "Write");
    return position;
}

std::string Compose(const Exception& exception) {
    std::ostringstream stream;
    exception.ComposeMessage(stream);
    return stream.str();
}

std::string Compose(const SystemErrorDetails& details) {
    std::ostringstream stream;
    details.ComposeMessage(stream);
    return stream.str();
}

template <CategoryID category, std::uint32_t code>
void ExpectRow(std::uint64_t packedCode) {
    const ErrorException<category, code> exception(GetPosition(), {"Text."});
    EXPECT_EQ(exception.GetErrorCode(), packedCode);
    EXPECT_STREQ(exception.GetName(), "Tovra::Exception");
    EXPECT_EQ(Compose(exception), "Text.");
    static_assert(
        std::same_as<ErrorException<category, code>, ExceptionWithDetails<ErrorDetails<const Error<category, code>>>>);
}

static_assert(std::has_virtual_destructor_v<Exception>);
static_assert(std::same_as<std::underlying_type_t<CategoryID>, std::uint16_t>);
static_assert(!std::same_as<ErrorException<CategoryID::LogFile, 20>, ErrorException<CategoryID::LogFile, 25>>);
static_assert(!std::same_as<ErrorException<CategoryID::Foundation, 1>, ErrorException<CategoryID::ThreadStart, 1>>);

TEST(Exception, BaseHasNoCodeAndNoMessage) {
    const Exception exception(GetPosition());
    EXPECT_EQ(exception.GetErrorCode(), 0u);
    EXPECT_STREQ(exception.GetName(), "Tovra::Exception");
    EXPECT_EQ(Compose(exception), "No message provided.");
}

TEST(Exception, CatalogueHasItsPackedCodes) {
    ExpectRow<CategoryID::Foundation, 1>(0x0000000100020002);
    ExpectRow<CategoryID::Foundation, 2>(0x0000000200020002);
    ExpectRow<CategoryID::ThreadInitialize, 1>(0x00000001012D0002);
    ExpectRow<CategoryID::ThreadStart, 1>(0x00000001012E0002);
    ExpectRow<CategoryID::ThreadManager, 1>(0x0000000101360002);
    ExpectRow<CategoryID::LogDirectory, 1>(0x0000000101F50002);
    ExpectRow<CategoryID::LogFile, 20>(0x0000001401F60002);
    ExpectRow<CategoryID::LogFile, 25>(0x0000001901F60002);
    ExpectRow<CategoryID::LogFileState, 30>(0x0000001E01F70002);
}

TEST(Exception, CodeFillsTheUpperThirtyTwoBits) {
    EXPECT_EQ((Error<static_cast<CategoryID>(0xFFFF), 0xFFFFFFFF>::packedCode), 0xFFFFFFFFFFFF0002u);
}

TEST(Exception, NullMessageReadsAsNoneWithoutLineEnd) {
    EXPECT_EQ(Compose(ErrorException<CategoryID::LogFile, 20>(GetPosition(), {nullptr})), "No message provided.");
    EXPECT_EQ(Compose(ErrorException<CategoryID::LogFile, 20>(GetPosition(), {""})), "");
}

TEST(Exception, KeepsItsPosition) {
    const ErrorException<CategoryID::LogFile, 20> exception(GetPosition(), {"Text."});
    EXPECT_STREQ(exception.callStack.file, "/System/Log/Log.cpp");
    EXPECT_EQ(exception.callStack.line, 7u);
    EXPECT_STREQ(exception.callStack.function, "Write");
}

TEST(Exception, IsMarkedThroughAConstReference) {
    const ErrorException<CategoryID::LogFile, 20> exception(GetPosition(), {"Text."});
    EXPECT_FALSE(exception.handled);
    const Exception& caught = exception;
    caught.SetHandled();
    EXPECT_TRUE(exception.handled);
    caught.SetHandled();
    EXPECT_TRUE(exception.handled);
}

TEST(Exception, IsReportedEachTimeThatItIsMarked) {
    const ErrorException<CategoryID::LogFileState, 30> exception(GetPosition(), {"Text."});
    exception.SetHandled();
    exception.SetHandled();
    const std::string report = "Exception: Tovra::Exception\n"
                               "\tMessage: Text.\n"
                               "\tCode:    0x0000001e01f70002\n"
                               "\n"
                               "Callstack:\n"
                               "\t[0]: /System/Log/Log.cpp at 7: Write\n";
    EXPECT_THAT(Tovra::Tests::Fakes::errorHandler.reports, testing::ElementsAre(report, report));
}

TEST(Exception, IsNotReportedWithoutBeingMarked) {
    try {
        TOVRA_THROW(LogFile, 20, "Text.");
    } catch (const Exception& exception) {
        EXPECT_FALSE(exception.handled);
    }
    EXPECT_THAT(Tovra::Tests::Fakes::errorHandler.reports, testing::IsEmpty());
}

TEST(Exception, IsCopiedAsPlainData) {
    const char* const text = "Text.";
    const ErrorException<CategoryID::LogFile, 20> exception(GetPosition(), {text});
    exception.SetHandled();
    const ErrorException<CategoryID::LogFile, 20> copy = exception;
    EXPECT_EQ(copy.GetDetails().message, text);
    EXPECT_EQ(copy.callStack.file, exception.callStack.file);
    EXPECT_EQ(copy.GetErrorCode(), exception.GetErrorCode());
    EXPECT_TRUE(copy.handled);
}

TEST(Exception, IsThrownWithItsPositionAndCode) {
    const std::uint64_t line = __LINE__ + 2;
    try {
        TOVRA_THROW(LogFile, 25, "File must be a log file that was created by it (same prefix).");
    } catch (const Exception& exception) {
        EXPECT_EQ(exception.GetErrorCode(), 0x0000001901F60002u);
        EXPECT_EQ(Compose(exception), "File must be a log file that was created by it (same prefix).");
        EXPECT_TRUE(std::string(exception.callStack.file).ends_with("Tests/System/Error/ExceptionTest.cpp"));
        EXPECT_EQ(exception.callStack.line, line);
        EXPECT_STREQ(exception.callStack.function, "TestBody");
        EXPECT_FALSE(exception.handled);
        return;
    }
    FAIL() << "Nothing was thrown.";
}

TEST(Exception, IsCaughtByItsPairOfCategoryAndCode) {
    const auto catchOther = [] {
        try {
            TOVRA_THROW(LogFile, 20, "Text.");
        } catch (const ErrorException<CategoryID::LogFile, 25>&) {
            return 25;
        } catch (const ErrorException<CategoryID::LogFileState, 20>&) {
            return 503;
        } catch (const ErrorException<CategoryID::LogFile, 20>&) {
            return 20;
        }
        return 0;
    };
    EXPECT_EQ(catchOther(), 20);
}

// A handler for standard exceptions must not catch ours, nor the other way round.
TEST(Exception, IsNotCaughtAsAStandardException) {
    const auto catchStandard = [] {
        try {
            TOVRA_THROW(Foundation, 1, "Failed to initialize environment.");
        } catch (const std::exception&) {
        }
    };
    EXPECT_THROW(catchStandard(), Exception);
    EXPECT_FALSE((std::is_base_of_v<std::exception, Exception>));
}

TEST(Exception, SystemErrorDetailsLeaveOutWhatIsMissing) {
    EXPECT_EQ(Compose(SystemErrorDetails{nullptr, GUID::Empty()}), "");
    EXPECT_EQ(Compose(SystemErrorDetails{"LogSystem", GUID::Empty()}), "\t\t System name: LogSystem\n");
    EXPECT_EQ(Compose(SystemErrorDetails{nullptr, guid}), "\t\t GUID: {01234567-89AB-CDEF-FEDC-BA9876543210}\n");
    EXPECT_EQ(Compose(SystemErrorDetails{"LogSystem", guid}),
              "\t\t System name: LogSystem\n\t\t GUID: {01234567-89AB-CDEF-FEDC-BA9876543210}\n");
}

TEST(Exception, SystemErrorDetailsHaveAnIdentityIfEitherHalfIsThere) {
    EXPECT_EQ(Compose(SystemErrorDetails{nullptr, GUID{1, 0}}), "\t\t GUID: {00000000-0000-0001-0000-000000000000}\n");
    EXPECT_EQ(Compose(SystemErrorDetails{nullptr, GUID{0, 1}}), "\t\t GUID: {00000000-0000-0000-0000-000000000001}\n");
}

TEST(Exception, OfASystemsCreationHasItsNameCodeAndText) {
    const SystemCreationException exception(GetPosition(), {"LogSystem", guid});
    EXPECT_EQ(exception.GetErrorCode(), 0x0000000200640002u);
    EXPECT_STREQ(exception.GetName(), "Tovra::SystemCreationException");
    EXPECT_EQ(Compose(exception), "Creation of system failed.\n"
                                  "\t\t System name: LogSystem\n"
                                  "\t\t GUID: {01234567-89AB-CDEF-FEDC-BA9876543210}\n");
    EXPECT_EQ(Compose(SystemCreationException(GetPosition(), {nullptr, GUID::Empty()})),
              "Creation of system failed.\n");
}

TEST(Exception, OfASystemsInitializationHasItsNameCodeAndText) {
    const SystemInitializationException exception(GetPosition(), {"LogSystem", guid});
    EXPECT_EQ(exception.GetErrorCode(), 0x0000000300640002u);
    EXPECT_STREQ(exception.GetName(), "Tovra::SystemInitializationException");
    EXPECT_EQ(Compose(exception), "Initialization of system failed.\n"
                                  "\t\t System name: LogSystem\n"
                                  "\t\t GUID: {01234567-89AB-CDEF-FEDC-BA9876543210}\n");
    EXPECT_EQ(Compose(SystemInitializationException(GetPosition(), {nullptr, GUID::Empty()})),
              "Initialization of system failed.\n");
}

} // namespace
