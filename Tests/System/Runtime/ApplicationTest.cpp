// Label: threaded

#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/ErrorHandler.h>
#include <Fakes/ProcessOperations.h>
#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <Support/TestSystem.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Processes/Parameters.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

using namespace std::string_literals;

using Tovra::System::Log::Logger;
using Tovra::System::Processes::Parameters;
using Tovra::System::Runtime::Application;
using Tovra::System::Runtime::ApplicationParameters;
using Tovra::System::Runtime::GetApplicationDirectory;
using Tovra::System::Runtime::PostSystemInitializationEvent;
using Tovra::System::Runtime::PreSystemInitializationEvent;
using Tovra::System::Runtime::ServiceControlEvent;
using Tovra::System::Runtime::TryGetSystem;
using Tovra::System::Runtime::UserFolderSubDirectoryDefinedEvent;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::TestApplication;
using Tovra::Tests::TestSystem;
using Tovra::Tests::Fakes::applicationDirectoryOperations;
using Tovra::Tests::Fakes::errorHandler;
using Tovra::Tests::Fakes::ProcessOperations;
using Tovra::Tests::Fakes::processOperations;

using Kills = std::vector<ProcessOperations::Signal>;

/// An application that calls a function when the user's folder is known.
class ListeningApplication final : public TestApplication {
public:
    using TestApplication::TestApplication;

    void OnUserFolderSubDirectoryDefined(Application& sender, UserFolderSubDirectoryDefinedEvent& event) override {
        EXPECT_EQ(&sender, this);
        m_userFolder = *event.m_userFolder;
        m_isCopy = event.m_userFolder != &m_configCache.GetUserFolder();
        m_kills = processOperations.GetKills();
        if (m_onUserFolder) {
            m_onUserFolder();
        }
    }

    std::optional<std::wstring> m_userFolder;
    bool m_isCopy = false;
    Kills m_kills;
    std::function<void()> m_onUserFolder;
};

/// An application with a home folder and an executable, and no other process of its name.
class ApplicationFrameTest : public ::testing::Test {
protected:
    /// Runs the application and expects that its `Main` is called.
    void Run(const ApplicationParameters& parameters = {}) {
        bool hasBody = false;
        m_application.m_main = [&hasBody](const ApplicationParameters&) { hasBody = true; };
        Application::Run(parameters);
        EXPECT_TRUE(hasBody);
    }

    EnvironmentValue m_home{"HOME", "/home/operator"};
    ListeningApplication m_application;
};

class ApplicationHelpTest : public ApplicationFrameTest {
protected:
    ApplicationHelpTest() { m_application.m_parameters = &m_parameters; }

    void SetName(const std::wstring& name) { m_application.m_name = name; }

    /// The help of an option and of another one that is required.
    std::string GetHelp(const char* name, const char* shortName, const char* description) {
        m_parameters.AddDescription(1, false, false, name, shortName, description, "");
        m_parameters.AddDescription(2, true, false, "CheckOpenGL", "cgl", "Checks", "");
        return m_application.GetHelpString();
    }

    Parameters m_parameters;
};

Logger* MakeLoggerPointer(int& object) {
    return reinterpret_cast<Logger*>(&object);
}

TEST(Application, IsTheProcessesOneInstance) {
    const TestApplication application;
    EXPECT_EQ(&Application::GetInstance(), &application);
}

TEST(Application, GivesWayToAnotherOneAfterItsEnd) {
    {
        const TestApplication application;
    }
    const TestApplication application;
    EXPECT_EQ(&Application::GetInstance(), &application);
}

TEST(Application, StartsWithoutErrorAndSystems) {
    const TestApplication application(L"Name");
    EXPECT_EQ(application.GetReturnCode(), 0);
    EXPECT_EQ(application.m_name, L"Name");
    EXPECT_EQ(application.m_logSystem, nullptr);
    EXPECT_EQ(application.m_threadingSystem, nullptr);
    EXPECT_EQ(application.m_displaySystem, nullptr);
    EXPECT_EQ(application.m_parameters, nullptr);
    EXPECT_EQ(application.m_auxiliaryPointer, nullptr);
}

TEST(Application, GivesItsLoggerOrNone) {
    TestApplication application;
    EXPECT_EQ(TryGetSystem<Logger>(), nullptr);
    int object = 0;
    application.m_logSystem = {MakeLoggerPointer(object), [](Logger*) {}};
    EXPECT_EQ(TryGetSystem<Logger>(), MakeLoggerPointer(object));
}

TEST(Application, DestroysItsSystemsInReverseOrder) {
    std::string destroyed;
    int object = 0;
    {
        TestApplication application;
        application.m_logSystem = {MakeLoggerPointer(object), [&destroyed](auto*) { destroyed += "log "; }};
        application.m_threadingSystem = {reinterpret_cast<Tovra::System::Threads::ThreadManager*>(&object),
                                         [&destroyed](auto*) { destroyed += "threads "; }};
        application.m_displaySystem = {reinterpret_cast<Tovra::System::Device::Display::DisplayCache*>(&object),
                                       [&destroyed](auto*) { destroyed += "displays "; }};
    }
    EXPECT_EQ(destroyed, "displays threads log ");
}

TEST(Application, IsStillThereWhileItsSystemsAreDestroyed) {
    int object = 0;
    const Application* instance = nullptr;
    const Application* expected = nullptr;
    {
        TestApplication application;
        expected = &application;
        application.m_logSystem = {MakeLoggerPointer(object),
                                   [&instance](Logger*) { instance = &Application::GetInstance(); }};
    }
    EXPECT_EQ(instance, expected);
}

TEST(ApplicationDeathTest, MustBeTheOnlyOne) {
    const TestApplication application;
    EXPECT_ASSERTION(TestApplication(), "s_instance == nullptr", "There shall be only one application instance.");
}

TEST(ApplicationDeathTest, MustExistWhereItIsAskedFor) {
    const std::string message = "Ilegal attempt to access a non-existent application instance.";
    EXPECT_ASSERTION(Application::GetInstance(), "s_instance != nullptr", message);
    EXPECT_ASSERTION(GetApplicationDirectory(), "s_instance != nullptr", message);
    EXPECT_ASSERTION(Application::Run({}), "s_instance != nullptr", message);
}

TEST(ApplicationDeathTest, MustExistWhereItsLoggerIsAskedFor) {
    EXPECT_ASSERTION(TryGetSystem<Logger>(), "s_instance != nullptr", "No application instance was created.");
}

TEST(ApplicationDeathTest, MustNotBeDestroyedTwice) {
    const auto destroyTwice = [] {
        alignas(Application) static std::byte storage[sizeof(Application)];
        auto* const application = std::construct_at(reinterpret_cast<Application*>(storage), L"Name");
        application->Application::~Application();
        application->Application::~Application();
    };
    EXPECT_ASSERTION(destroyTwice(), "s_instance == this", "Instance must match.");
}

TEST(ApplicationDeathTest, EndsTheProcessIfASystemsDeleterIsEmpty) {
    const auto destroyWithoutDeleter = [] {
        int object = 0;
        TestApplication application;
        application.m_logSystem = {MakeLoggerPointer(object), nullptr};
    };
    EXPECT_EXIT(destroyWithoutDeleter(), ::testing::KilledBySignal(SIGABRT), "terminating.*bad_function_call");
}

TEST(ApplicationDeathTest, TakesNoEventOfAnotherOne) {
    TestApplication application;
    const auto receive = [&application] {
        alignas(Application) static std::byte storage[sizeof(Application)];
        PostSystemInitializationEvent event;
        application.OnPostSystemInitialization(*reinterpret_cast<Application*>(storage), event);
    };
    EXPECT_ASSERTION(receive(), "&sender == this", "Event from different application instance shall not be received.");
}

TEST(Application, HasHandlersThatLeaveEverythingAsItIs) {
    TestApplication application;
    PreSystemInitializationEvent preEvent;
    application.OnPreSystemInitialization(application, preEvent);
    EXPECT_TRUE(preEvent.m_initialize);
    TestSystem<> system;
    PostSystemInitializationEvent postEvent{&system};
    application.OnPostSystemInitialization(application, postEvent);
    EXPECT_EQ(application.OnServiceControlEvent(ServiceControlEvent()), 0);
}

TEST_F(ApplicationFrameTest, StartsUpBeforeTheProgramsBody) {
    Parameters parameters;
    int auxiliary = 0;
    const ApplicationParameters applicationParameters{.m_parameters = &parameters, .m_auxiliaryPointer = &auxiliary};
    bool hasBody = false;
    m_application.m_main = [&](const ApplicationParameters& given) {
        hasBody = true;
        EXPECT_EQ(&given, &applicationParameters);
        EXPECT_EQ(m_application.m_parameters, &parameters);
        EXPECT_EQ(m_application.m_auxiliaryPointer, &auxiliary);
        EXPECT_EQ(Tovra::System::Environment::DirectoryCache::m_instance.GetHome(), "/home/operator");
        EXPECT_EQ(GetApplicationDirectory(), "/opt/TovraTests");
        EXPECT_EQ(m_application.m_userFolder, L"/home/operator/.tovra");
        m_application.m_returnCode = -3;
    };
    Application::Run(applicationParameters);
    EXPECT_TRUE(hasBody);
    EXPECT_EQ(m_application.GetReturnCode(), -3);
}

TEST_F(ApplicationFrameTest, KnowsNoFoldersBeforeItRuns) {
    EXPECT_EQ(GetApplicationDirectory(), "");
    EXPECT_EQ(m_application.m_configCache.GetUserFolder(), L"");
}

TEST_F(ApplicationFrameTest, TellsACopyOfTheUserFolder) {
    Run();
    EXPECT_EQ(m_application.m_userFolder, L"/home/operator/.tovra");
    EXPECT_TRUE(m_application.m_isCopy);
}

TEST_F(ApplicationFrameTest, LetsAnExceptionOfTheUserFoldersHandlerThrough) {
    bool hasBody = false;
    m_application.m_main = [&hasBody](const ApplicationParameters&) { hasBody = true; };
    m_application.m_onUserFolder = [] { throw std::out_of_range("handler"); };
    EXPECT_THROW(Application::Run({}), std::out_of_range);
    EXPECT_FALSE(hasBody);
}

TEST_F(ApplicationFrameTest, LetsAnExceptionOfTheProgramsBodyThrough) {
    m_application.m_main = [](const ApplicationParameters&) { throw std::out_of_range("body"); };
    EXPECT_THROW(Application::Run({}), std::out_of_range);
}

TEST_F(ApplicationFrameTest, GoesOnWithoutAHomeDirectory) {
    for (const std::optional<std::string>& home : {std::optional<std::string>(), std::optional<std::string>("")}) {
        m_home.Set(home);
        Run();
        EXPECT_EQ(m_application.m_userFolder, std::nullopt);
        EXPECT_EQ(m_application.m_configCache.GetUserFolder(), L"");
        EXPECT_EQ(GetApplicationDirectory(), "");
        EXPECT_EQ(applicationDirectoryOperations.executablePathFault.calls, 0);
        EXPECT_EQ(m_application.GetReturnCode(), 0);
    }
}

TEST_F(ApplicationFrameTest, GoesOnWithoutAnErrorHandlerThatIsReady) {
    errorHandler.initialize = false;
    Run();
    EXPECT_EQ(errorHandler.initializations, 1);
    EXPECT_EQ(GetApplicationDirectory(), "/opt/TovraTests") << "The steps before it stay.";
    EXPECT_EQ(m_application.m_userFolder, std::nullopt) << "The step behind it is not reached.";
}

TEST_F(ApplicationFrameTest, ReadiesTheErrorHandlerBehindTheConfigurationCache) {
    Run();
    EXPECT_EQ(errorHandler.initializations, 1);
    m_home.Set(std::nullopt);
    Run();
    EXPECT_EQ(errorHandler.initializations, 1) << "Not reached without a home directory.";
}

TEST_F(ApplicationFrameTest, GoesOnWithAHomeDirectoryThatIsNoText) {
    m_home.Set("/home/\xFF\xFE");
    Run();
    EXPECT_EQ(m_application.m_userFolder, std::nullopt);
}

TEST_F(ApplicationFrameTest, TakesTheHomeDirectoryAsItStands) {
    for (const std::string home : {"relative", "/proc/nothing/can/be/written/here", "/dev/null", "."}) {
        m_home.Set(home);
        Run();
        EXPECT_EQ(m_application.m_userFolder, (std::filesystem::path(home) / ".tovra").wstring()) << home;
    }
}

TEST_F(ApplicationFrameTest, HandsTheFirstArgumentToTheConfigurationCache) {
    applicationDirectoryOperations.executablePath = "/" + std::string(300, 'd') + "/Tool";
    Parameters parameters;
    parameters.Add({"first/argument", "second/argument/of"});
    Run({.m_parameters = &parameters});
    EXPECT_EQ(GetApplicationDirectory(), "first");
}

TEST_F(ApplicationFrameTest, WorksFromTheExecutableAloneWithoutArguments) {
    Parameters parameters;
    Run({.m_parameters = &parameters});
    EXPECT_EQ(GetApplicationDirectory(), "/opt/TovraTests");
    applicationDirectoryOperations.executablePath = "/" + std::string(300, 'd') + "/Tool";
    Run({.m_parameters = &parameters});
    EXPECT_EQ(GetApplicationDirectory(), "");
    Run({.m_parameters = nullptr});
    EXPECT_EQ(GetApplicationDirectory(), "");
}

TEST_F(ApplicationFrameTest, TerminatesTheOtherProcessesOfItsNameBeforeAnythingElse) {
    processOperations.processes = {{.id = 1, .path = "/sbin/init"},
                                   {.id = 4710, .path = "/other/TovraFieldhostSetupTool"},
                                   {.id = 4711, .path = "/opt/tovra/TovraFieldhostSetupTool"},
                                   {.id = 4712, .path = "/opt/tovra/TovraFieldhostSetupToo"},
                                   {.id = 4713, .path = "/opt/tovra/TovraFieldhostSetupTool"}};
    Run({.m_terminateOtherInstances = true});
    const Kills kills = {{4710, SIGKILL}, {4713, SIGKILL}};
    EXPECT_EQ(processOperations.GetKills(), kills);
    EXPECT_EQ(m_application.m_kills, kills);
}

TEST_F(ApplicationFrameTest, TerminatesNobodyUnlessAskedTo) {
    processOperations.processes.push_back({.id = 4713, .path = "/opt/tovra/TovraFieldhostSetupTool"});
    Run();
    EXPECT_EQ(processOperations.GetKills(), Kills());
}

TEST_F(ApplicationFrameTest, TerminatesNobodyIfItsOwnNameCannotBeRead) {
    processOperations.processes = {{.id = 4711, .pathError = ESRCH}, {.id = 4712, .path = "/bin/stranger"}};
    Run({.m_terminateOtherInstances = true});
    EXPECT_EQ(processOperations.GetKills(), Kills());
}

TEST_F(ApplicationHelpTest, ShowsTheFrontHalfOfTheNameWithZeroBytes) {
    SetName(L"TovraFieldhostSetupTool");
    EXPECT_EQ(m_application.GetHelpString(), "Usage: T\0o\0v\0r\0a\0F\0i\0e\0l\0d\0h\0o [option(s)]"s);
    SetName(L"Tool");
    EXPECT_EQ(m_application.GetHelpString(), "Usage: T\0o\0 [option(s)]"s);
}

TEST_F(ApplicationHelpTest, IsTheUsageLineAloneWithoutDescriptions) {
    SetName(L"");
    EXPECT_EQ(m_application.GetHelpString(), "Usage:  [option(s)]");
}

TEST_F(ApplicationHelpTest, ShowsEachOptionInItsOrderAndAlignsTheNames) {
    SetName(L"Tool");
    EXPECT_EQ(GetHelp("Help", "h", "Prints this help"), "Usage: T\0o\0 [option(s)]"
                                                        "\n\nOne or more of the below listed options can be used:\n"
                                                        "\t-Help        -h    Prints this help. \n"
                                                        "\t-CheckOpenGL -cgl  Checks. (required) \n"s);
}

TEST_F(ApplicationHelpTest, AlignsNamesOfOtherLettersByTheirColumns) {
    EXPECT_THAT(GetHelp("Größe", "ß", "Sets the size"),
                testing::EndsWith(":\n\t-Größe       -ß    Sets the size. \n"
                                  "\t-CheckOpenGL -cgl  Checks. (required) \n"));
}

TEST_F(ApplicationHelpTest, LeavesNoRoomForShortNamesThatNoOptionHas) {
    SetName(L"");
    m_parameters.AddDescription(1, false, false, "A", "", "One", "");
    EXPECT_EQ(m_application.GetHelpString(), "Usage:  [option(s)]"
                                             "\n\nOne or more of the below listed options can be used:\n"
                                             "\t-A -  One. \n");
}

TEST_F(ApplicationHelpTest, ShowsTheDefaultsOfOptionsWithValues) {
    SetName(L"");
    m_parameters.AddDescription(1, false, true, "A", "a", "One", "value");
    m_parameters.AddDescription(2, true, true, "B", "b", "Two", "");
    m_parameters.AddDescription(3, false, false, "C", "c", "Three", "unseen");
    EXPECT_EQ(m_application.GetHelpString(), "Usage:  [option(s)]"
                                             "\n\nOne or more of the below listed options can be used:\n"
                                             "\t-A -a  One. [Default: value]\n"
                                             "\t-B -b  Two. (required) [Default: Empty]\n"
                                             "\t-C -c  Three. \n");
}

} // namespace
