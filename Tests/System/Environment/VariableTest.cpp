#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <Support/TestLogger.h>
#include <System/Environment/Variable.h>

namespace {

using Tovra::System::Environment::Variable;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::TestApplication;

constexpr const char* name = "TOVRA_VARIABLE_TEST";

TEST(Variable, CopiesNameAndValue) {
    std::string value = "value";
    const Variable variable("name", value.c_str());
    value = "other";
    EXPECT_EQ(variable.m_name, "name");
    EXPECT_EQ(variable.m_value, "value");
}

TEST(Variable, IsLoadedFromTheEnvironment) {
    const EnvironmentValue environment(name, "/home/\xFF somewhere");
    Variable variable;
    EXPECT_TRUE(Variable::Load(name, variable));
    EXPECT_EQ(variable.m_name, name);
    EXPECT_EQ(variable.m_value, "/home/\xFF somewhere");
}

TEST(Variable, ThatIsEmptyCountsAsAFailure) {
    const EnvironmentValue environment(name, "");
    Variable variable("other", "old");
    // Without an application a message would be a failed assertion, so none is logged.
    EXPECT_FALSE(Variable::Load(name, variable));
    EXPECT_EQ(variable.m_name, name);
    EXPECT_EQ(variable.m_value, "");
}

TEST(Variable, ThatIsNotSetKeepsItsNameAndAnEmptyValue) {
    const TestApplication application;
    const EnvironmentValue environment(name, std::nullopt);
    Variable variable("other", "old");
    EXPECT_FALSE(Variable::Load(name, variable));
    EXPECT_EQ(variable.m_name, name);
    EXPECT_EQ(variable.m_value, "");
}

TEST(Variable, ThatIsNotSetIsWarnedOfInTheSettledWords) {
    Tovra::Tests::TestLogger log;
    ASSERT_TRUE(log.Initialize());
    const EnvironmentValue environment(name, std::nullopt);
    Variable variable;
    EXPECT_FALSE(Variable::Load(name, variable));
    EXPECT_THAT(log.ReadAll(), Tovra::Tests::AreLogLines({"System] Warning: Failed to retrieve the users home "
                                                          "directory from environment."}));
}

TEST(VariableDeathTest, ThatIsNotSetIsLoggedAndSoNeedsAnApplication) {
    const EnvironmentValue environment(name, std::nullopt);
    Variable variable;
    EXPECT_ASSERTION(Variable::Load(name, variable), "s_instance != nullptr", "No application instance was created.");
}

} // namespace
