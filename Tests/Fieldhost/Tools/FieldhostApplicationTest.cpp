#include "SetupToolTest.h"

#include <Support/Assertions.h>
#include <System/Environment/DirectoryCache.h>

#include <cstdlib>
#include <limits>

namespace Tovra::Tests {

namespace {

using System::Environment::DirectoryCache;
using System::Processes::Parameters;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using FieldhostApplicationTest = SetupToolTest;

TEST_F(FieldhostApplicationTest, StartsWithStatusZero) {
    EXPECT_EQ(GetStatus(), 0);
}

TEST_F(FieldhostApplicationTest, IsTheFramesOnlyApplication) {
    EXPECT_EQ(&System::Runtime::Application::GetInstance(), &*m_application);
    EXPECT_ASSERTION(Fieldhost::Tools::Application second, "s_instance == nullptr",
                     "There shall be only one application instance.");
}

TEST_F(FieldhostApplicationTest, WithoutCommandLineIsSilentWithStatusZero) {
    System::Runtime::Application::Run({});
    EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_FALSE(ReturnCodes::GetInstance().HasParameter(0));
}

TEST_F(FieldhostApplicationTest, RefusesACommandLineWithAnError) {
    const std::vector<std::vector<std::string>> commandLines{
        {""},        {"-"},       {"--"},     {"plain"},         {"-cba", "plain"}, {"-nosuch"}, {"-help"},
        {"-H"},      {"-CBA"},    {"---cba"}, {"-cba=1"},        {"-h", "-nosuch"}, {"-h", ""},  {"-src", "-"},
        {"-h ", ""}, {"-h", "x"}, {"-None"},  {"-cba", "-cba "}, {"\xff"},          {"-\xff"},   {" -h"},
    };
    for (const auto& options : commandLines) {
        Renew();
        EXPECT_EQ(Run(options), GetWrongParametersOutput()) << ::testing::PrintToString(options);
        EXPECT_EQ(GetStatus(), -1) << ::testing::PrintToString(options);
    }
}

TEST_F(FieldhostApplicationTest, RefusesACommandLineWithoutARequiredOption) {
    Parameters commandLine;
    commandLine.Add({"tool", "-cba"});
    commandLine.AddDescription(99u, true, false, "Required", "r", "Must be there", "");
    m_application->Main({.m_parameters = &commandLine});
    EXPECT_EQ(GetOutput(), GetWrongParametersOutput());
    EXPECT_EQ(GetStatus(), -1);
}

TEST_F(FieldhostApplicationTest, IsSilentWithStatusZeroAboutAnOptionThatIsNoneOfItsOwn) {
    Parameters commandLine;
    commandLine.Add({"tool", "-o"});
    commandLine.AddDescription(99u, false, false, "Optional", "o", "May be there", "");
    m_application->Main({.m_parameters = &commandLine});
    EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    EXPECT_EQ(GetStatus(), 0);
}

TEST_F(FieldhostApplicationTest, PrintsItsHelpInOneWrite) {
    Run({});
    ASSERT_EQ(Fakes::standardStreams.writes.size(), 1u);
    EXPECT_TRUE(Fakes::standardStreams.writes.front().ends_with("Prints this help. \n\n"));
    EXPECT_EQ(GetStatus(), 0);
}

TEST_F(FieldhostApplicationTest, PrintsTheSameHelpWithoutAnyArgumentOnAnyRequestAndBesideCommands) {
    const std::string expected = Run({});
    Renew();
    Parameters commandLine;
    System::Runtime::Application::Run({.m_parameters = &commandLine});
    EXPECT_EQ(GetOutput(), expected);
    const std::vector<std::vector<std::string>> commandLines{
        {"-h"},         {"--h"},        {"-Help"},    {"--Help"},         {"-h", "-src"},
        {"-src", "-h"}, {"-cba", "-h"}, {"-h", "-h"}, {"-tcs", "--Help"}, {"-cgl", "-src", "-h"},
    };
    for (const auto& options : commandLines) {
        Renew();
        EXPECT_EQ(Run(options), expected) << ::testing::PrintToString(options);
        EXPECT_EQ(GetStatus(), 0);
    }
}

TEST_F(FieldhostApplicationTest, HelpListsEveryOption) {
    EXPECT_EQ(Run({"-h"}), GetHelpOutput());
}

TEST_F(FieldhostApplicationTest, PrintsTheCatalogueBeforeAnyCommand) {
    const std::string expected = Run({"-src"});
    for (const std::string option : {"-cba", "-eba", "-cgl", "-tcs", "-src"}) {
        Renew();
        EXPECT_EQ(Run({option, "--ShowReturnCodes"}), expected) << option;
        EXPECT_EQ(GetStatus(), 0);
    }
}

TEST_F(FieldhostApplicationTest, ReadsTheHomeFolderAnewBeforeACommand) {
    setenv("HOME", "/first", 1);
    System::Environment::DirectoryCache::Initialize();
    setenv("HOME", "/second", 1);
    Parameters commandLine;
    commandLine.Add({"tool", "-cba"});
    m_application->Main({.m_parameters = &commandLine});
    EXPECT_EQ(DirectoryCache::m_instance.GetHome(), "/second");
}

TEST_F(FieldhostApplicationTest, RunsACommandWithoutAHomeFolder) {
    unsetenv("HOME");
    EXPECT_EQ(Run({"-cba"}), GetResultOutput("Platform Unsupported", -1, "\"value\": false"));
    EXPECT_EQ(GetStatus(), -1);
}

/// The commands' options in the order in which they are checked.
const std::vector<std::string> commandOrder{"-cba", "-dba", "-eba", "-fba", "-cgl", "-chu",
                                            "-dhu", "-ehu", "-ics", "-ucs", "-scs", "-tcs"};

class FieldhostApplicationDispatchTest : public SetupToolTest {
protected:
    /// Everything observable of a run; it differs between commands.
    std::string GetTrace(const std::vector<std::string>& options) {
        std::string trace;
        for (const PlatformType type : {PlatformType::Windows, PlatformType::Linux}) {
            Renew(type, "10.0");
            SetElevated(true);
            trace += Run(options) + std::to_string(GetStatus());
            for (const auto& calls : {Fakes::childSession.calls, Fakes::hidOverUsb.calls, Fakes::service.calls}) {
                trace += ::testing::PrintToString(calls);
            }
        }
        return trace;
    }
};

TEST_F(FieldhostApplicationDispatchTest, RunsTheFirstCommandOfTheOrderAndIgnoresTheOthers) {
    std::vector<std::string> traces;
    for (const std::string& option : commandOrder) {
        traces.push_back(GetTrace({option}));
    }
    for (std::size_t first = 0; first < commandOrder.size(); first++) {
        EXPECT_EQ(GetTrace({commandOrder[first], commandOrder[first]}), traces[first]);
        for (std::size_t second = first + 1; second < commandOrder.size(); second++) {
            ASSERT_NE(traces[first], traces[second]);
            EXPECT_EQ(GetTrace({commandOrder[second], commandOrder[first]}), traces[first])
                << commandOrder[second] << ' ' << commandOrder[first];
        }
    }
}

TEST_F(FieldhostApplicationDispatchTest, RunsOneCommandOfAll) {
    EXPECT_EQ(GetTrace({commandOrder.rbegin(), commandOrder.rend()}), GetTrace({"-cba"}));
}

TEST_F(FieldhostApplicationTest, EverythingButTheOpenGLCheckIsUnsupportedOnMacOS) {
    const std::vector<std::pair<std::string, std::string>> options{
        {"eba", "previous"}, {"dba", "previous"}, {"cba", "value"},    {"fba", "previous"},
        {"ehu", "previous"}, {"dhu", "previous"}, {"chu", "value"},    {"ics", "previous"},
        {"ucs", "previous"}, {"scs", "previous"}, {"tcs", "previous"},
    };
    for (const auto& [option, key] : options) {
        Renew();
        EXPECT_EQ(Run({"-" + option}), GetResultOutput("Platform Unsupported", -1, "\"" + key + "\": false")) << option;
        EXPECT_EQ(GetStatus(), -1) << option;
    }
}

TEST_F(FieldhostApplicationTest, ReportsANameOfTheCatalogueInOneWrite) {
    m_application->DefineReturnCodes();
    m_application->SetAndPrintReturnCode(Parameter::None, "Setup Failed");
    EXPECT_THAT(Fakes::standardStreams.writes,
                ElementsAre("{\n    \"name\": \"Setup Failed\",\n    \"code\": -2\n}\n"));
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(FieldhostApplicationTest, ReportsTheNumberThatBelongsToThePair) {
    m_application->DefineReturnCodes();
    m_application->SetAndPrintReturnCode(Parameter::EnableBackgroundAutomation, "Missing Rights");
    EXPECT_EQ(GetStatus(), -3);
    m_application->SetAndPrintReturnCode(Parameter::EnableHidOverUsb, "Missing Rights");
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(FieldhostApplicationTest, KeepsStatusAndSilenceAboutANameThatTheCatalogueLacks) {
    m_application->DefineReturnCodes();
    m_application->SetAndPrintReturnCode(Parameter::CheckOpenGL, "Failed");
    Fakes::standardStreams = {};
    m_application->SetAndPrintReturnCode(Parameter::FixBackgroundAutomation, "Missing Rights");
    m_application->SetAndPrintReturnCode(Parameter::Help, "Success");
    EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(FieldhostApplicationTest, WindowsGuardTestsThePlatformAndThenItsVersion) {
    m_application->DefineReturnCodes();
    const auto check = [this](PlatformType type, const std::string& version) {
        Fakes::standardStreams = {};
        SetMachine(type, version);
        return m_application->CheckPlatformWindows(Parameter::DisableBackgroundAutomation);
    };
    for (const PlatformType type : {PlatformType::MacOS, PlatformType::Linux, PlatformType::LinuxVariant}) {
        EXPECT_FALSE(check(type, "10.0"));
        EXPECT_EQ(GetOutput(), GetResultOutput("Platform Unsupported", -1, "\"previous\": false"));
        EXPECT_EQ(GetStatus(), -1);
    }
    for (const std::string version : {"", "5.9", "6.0", "6.1"}) {
        EXPECT_FALSE(check(PlatformType::Windows, version)) << version;
        EXPECT_EQ(GetOutput(), GetResultOutput("OS Version Unsupported", -2, "\"previous\": false"));
        EXPECT_EQ(GetStatus(), -2);
    }
    for (const std::string version : {"6.2", "6.3", "7.0", "7.1", "10.0"}) {
        EXPECT_TRUE(check(PlatformType::Windows, version)) << version;
        EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    }
}

TEST_F(FieldhostApplicationTest, LinuxGuardTestsThePlatformAlone) {
    m_application->DefineReturnCodes();
    for (const PlatformType type : {PlatformType::Linux, PlatformType::LinuxVariant}) {
        SetMachine(type, "0.0");
        EXPECT_TRUE(m_application->CheckPlatformLinux(Parameter::CheckHidOverUsb));
    }
    EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    for (const PlatformType type : {PlatformType::Windows, PlatformType::MacOS}) {
        Fakes::standardStreams = {};
        SetMachine(type, "10.0");
        EXPECT_FALSE(m_application->CheckPlatformLinux(Parameter::CheckHidOverUsb));
        EXPECT_EQ(GetOutput(), GetResultOutput("Platform Unsupported", -1, "\"value\": false"));
        EXPECT_EQ(GetStatus(), -1);
    }
}

TEST_F(FieldhostApplicationTest, PrivilegeGuardPassesElevatedProcessesOnly) {
    m_application->DefineReturnCodes();
    SetElevated(true);
    EXPECT_TRUE(m_application->CheckPrivilege(Parameter::StopCoreService));
    EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
    SetElevated(false);
    EXPECT_FALSE(m_application->CheckPrivilege(Parameter::StopCoreService));
    EXPECT_EQ(GetOutput(), GetResultOutput("Missing Rights", -2, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(FieldhostApplicationTest, DataStandsUnderTheKeyOfTheParameterWhateverTheCode) {
    const std::vector<std::string> keys{"",         "previous", "previous", "value", "value",
                                        "version",  "previous", "previous", "value", "previous",
                                        "previous", "previous", "previous"};
    for (unsigned int parameter = 1; parameter < keys.size(); parameter++) {
        for (const int code : {0, 1, -1, 12345}) {
            ReturnCodes::DataMap data;
            ASSERT_TRUE(m_application->OnDataCallback(parameter, code, data)) << parameter;
            ASSERT_EQ(data.size(), 1u);
            EXPECT_EQ(data.begin()->first, keys[parameter]);
            EXPECT_EQ(data.begin()->second, ReturnCodes::DataValue(false));
        }
    }
}

TEST_F(FieldhostApplicationTest, HasNoDataForParametersThatAreNoCommands) {
    for (const unsigned int parameter : {0u, 13u, 14u, 15u, 100u, std::numeric_limits<unsigned int>::max()}) {
        ReturnCodes::DataMap data;
        EXPECT_FALSE(m_application->OnDataCallback(parameter, 0, data)) << parameter;
        EXPECT_TRUE(data.empty());
    }
}

} // namespace

} // namespace Tovra::Tests
