#include "SetupToolTest.h"

namespace Tovra::Tests {

namespace {

using Fieldhost::Tools::Application;
using ::testing::HasSubstr;
using ::testing::Not;

class ReturnCodeDefinitionsTest : public SetupToolTest {};

TEST_F(ReturnCodeDefinitionsTest, ArePrintedInTheOrderOfDefinition) {
    EXPECT_EQ(Run({"-src"}), GetCatalogueOutput());
    EXPECT_EQ(GetStatus(), 0);
}

TEST_F(ReturnCodeDefinitionsTest, AreThirteenParametersAndFortyEightCodes) {
    const std::string output = Run({"-ShowReturnCodes"});
    const auto count = [&output](const std::string& text) {
        std::size_t found = 0;
        for (std::size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) {
            found++;
        }
        return found;
    };
    EXPECT_EQ(count("\"codes\": "), 13u);
    EXPECT_EQ(count("\"code\": "), 48u);
}

TEST_F(ReturnCodeDefinitionsTest, HaveNoRightsForTheRepairAndNoVersionForTheServices) {
    m_application->DefineReturnCodes();
    const ReturnCodes& returnCodes = ReturnCodes::GetInstance();
    int code = 77;
    EXPECT_FALSE(returnCodes.GetReturnCode(4, "Missing Rights", code));
    EXPECT_FALSE(returnCodes.GetReturnCode(4, "OS Version Unsupported", code));
    for (const unsigned int parameter : {9u, 10u, 11u, 12u}) {
        EXPECT_FALSE(returnCodes.GetReturnCode(parameter, "OS Version Unsupported", code)) << parameter;
    }
    EXPECT_EQ(code, 77);
}

TEST_F(ReturnCodeDefinitionsTest, HaveNoEntryForTheOptionsThatAreNoCommands) {
    m_application->DefineReturnCodes();
    EXPECT_FALSE(ReturnCodes::GetInstance().HasParameter(13));
    EXPECT_FALSE(ReturnCodes::GetInstance().HasParameter(14));
    EXPECT_THAT(Run({"-src"}), Not(HasSubstr("\"Help\"")));
}

TEST_F(ReturnCodeDefinitionsTest, ForwardTheDataCallbackToTheApplication) {
    m_application->DefineReturnCodes();
    std::string text;
    EXPECT_TRUE(ReturnCodes::GetInstance().GenerateReturnJson(8, 0, text));
    EXPECT_EQ(text + '\n', GetResultOutput("Success", 0, "\"value\": false"));
}

TEST_F(ReturnCodeDefinitionsTest, NamesAreTheSevenTexts) {
    EXPECT_EQ(Application::s_returnCodeNameSuccess, "Success");
    EXPECT_EQ(Application::s_returnCodeNameFailed, "Failed");
    EXPECT_EQ(Application::s_returnCodeNameWrongParameters, "Wrong Parameter(s)");
    EXPECT_EQ(Application::s_returnCodeNameSetupFailed, "Setup Failed");
    EXPECT_EQ(Application::s_returnCodeNameUnsupportedPlatform, "Platform Unsupported");
    EXPECT_EQ(Application::s_returnCodeNameUnsupportedVersion, "OS Version Unsupported");
    EXPECT_EQ(Application::s_returnCodeNameMissingRights, "Missing Rights");
}

} // namespace

} // namespace Tovra::Tests
