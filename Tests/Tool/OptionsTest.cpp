#include "SetupTool.h"

namespace Tovra::Tests {

namespace {

/// An option's long and short name, each with one dash and with two.
std::vector<std::string> GetSpellings(const std::string& name, const std::string& shortName) {
    return {"-" + name, "--" + name, "-" + shortName, "--" + shortName};
}

struct UnsupportedOption {
    std::string name;
    std::string shortName;
    std::string key;
};

const std::vector<UnsupportedOption> unsupportedOptions{
    {"EnableBackgroundAutomation", "eba", "previous"},
    {"DisableBackgroundAutomation", "dba", "previous"},
    {"CheckBackgroundAutomation", "cba", "value"},
    {"FixBackgroundAutomation", "fba", "previous"},
    {"EnableHidOverUsb", "ehu", "previous"},
    {"DisableHidOverUsb", "dhu", "previous"},
    {"CheckHidOverUsb", "chu", "value"},
    {"InstallCoreService", "ics", "previous"},
    {"UninstallCoreService", "ucs", "previous"},
    {"StartCoreService", "scs", "previous"},
    {"StopCoreService", "tcs", "previous"},
};

class OptionsTest : public ::testing::Test {
protected:
    SetupTool m_tool;
};

TEST_F(OptionsTest, NoneGivesTheHelp) {
    EXPECT_THAT(m_tool.Run({}), IsHelp());
}

TEST_F(OptionsTest, HelpGivesTheHelp) {
    for (const std::string& option : GetSpellings("Help", "h")) {
        EXPECT_THAT(m_tool.Run({option}), IsHelp()) << option;
    }
}

TEST_F(OptionsTest, ShowReturnCodesGivesTheCatalogue) {
    for (const std::string& option : GetSpellings("ShowReturnCodes", "src")) {
        EXPECT_THAT(m_tool.Run({option}), IsCatalogue()) << option;
    }
}

TEST_F(OptionsTest, EveryCommandButTheOpenGLCheckIsUnsupported) {
    for (const auto& [name, shortName, key] : unsupportedOptions) {
        for (const std::string& option : GetSpellings(name, shortName)) {
            EXPECT_THAT(m_tool.Run({option}), IsUnsupported(key)) << option;
        }
    }
}

TEST_F(OptionsTest, TheOpenGLCheckWithoutDisplayFails) {
    for (const std::string& option : GetSpellings("CheckOpenGL", "cgl")) {
        const ProgramResult result = m_tool.Run({option});
        EXPECT_EQ(result.output, GetResultOutput("Failed", 1, "\"version\": false")) << option;
        EXPECT_EQ(result.status, 1) << option;
    }
}

TEST_F(OptionsTest, AnErrorInTheCommandLineIsToldAndBeatsEverything) {
    const std::vector<std::vector<std::string>> commandLines{
        {""},
        {"-"},
        {"--"},
        {"---h"},
        {"plain"},
        {"-nosuch"},
        {"-help"},
        {"-H"},
        {"-CBA"},
        {"-h", "-nosuch"},
        {"-src", "plain"},
        {"-cba", "plain"},
        {"-cba", ""},
        {"-cgl", "--"},
        {"-cba=1"},
        {"-\xff\xfe"},
        {"-h\n"},
        {std::string(100000, '-')},
        {"-" + std::string(100000, 'x')},
    };
    for (const auto& options : commandLines) {
        EXPECT_THAT(m_tool.Run(options), IsWrongParameters()) << ::testing::PrintToString(options).substr(0, 100);
    }
}

TEST_F(OptionsTest, HelpGoesBeforeTheCatalogueAndTheCatalogueBeforeACommand) {
    EXPECT_THAT(m_tool.Run({"-cba", "-h"}), IsHelp());
    EXPECT_THAT(m_tool.Run({"-src", "-h"}), IsHelp());
    EXPECT_THAT(m_tool.Run({"-h", "-src"}), IsHelp());
    EXPECT_THAT(m_tool.Run({"-src", "-cba"}), IsCatalogue());
    EXPECT_THAT(m_tool.Run({"-tcs", "-src", "-cgl"}), IsCatalogue());
}

TEST_F(OptionsTest, ACheckGoesBeforeAChangeOfItsFamilyInWhateverOrderTheyStand) {
    EXPECT_THAT(m_tool.Run({"-eba", "-cba"}), IsUnsupported("value"));
    EXPECT_THAT(m_tool.Run({"-cba", "-eba"}), IsUnsupported("value"));
    EXPECT_THAT(m_tool.Run({"-ehu", "-cba"}), IsUnsupported("value"));
    EXPECT_THAT(m_tool.Run({"-ehu", "-dhu", "-chu"}), IsUnsupported("value"));
    EXPECT_THAT(m_tool.Run({"-chu", "-dba"}), IsUnsupported("previous"));
}

TEST_F(OptionsTest, TheBackgroundAutomationGoesBeforeTheOpenGLCheckAndThatBeforeTheRest) {
    EXPECT_THAT(m_tool.Run({"-cgl", "-fba"}), IsUnsupported("previous"));
    EXPECT_EQ(m_tool.Run({"-tcs", "-chu", "-cgl"}).output, GetResultOutput("Failed", 1, "\"version\": false"));
}

TEST_F(OptionsTest, AnOptionGivenTwiceCountsOnce) {
    EXPECT_THAT(m_tool.Run({"-eba", "-eba"}), IsUnsupported("previous"));
    EXPECT_THAT(m_tool.Run({"-h", "--Help"}), IsHelp());
}

TEST_F(OptionsTest, ManyAreRead) {
    EXPECT_THAT(m_tool.Run(std::vector<std::string>(10000, "-cba")), IsUnsupported("value"));
}

} // namespace

} // namespace Tovra::Tests
