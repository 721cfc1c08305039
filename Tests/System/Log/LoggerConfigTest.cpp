#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/TestApplication.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>

#include <rapidjson/document.h>

#include <vector>

namespace {

using Tovra::System::GUID;
using Tovra::System::Log::allStreams;
using Tovra::System::Log::Logger;
using Tovra::System::Log::LoggerConfig;
using Tovra::System::Log::StreamID;
using Tovra::Tests::TestApplication;
using Streams = Tovra::System::Types::EnumFlags<StreamID>;
using Entries = std::vector<std::uint32_t>;

constexpr std::uint32_t all = 0x1FFFFF;

class LoggerConfigTest : public ::testing::Test {
protected:
    LoggerConfigTest() { m_config.SetDefaults(); }

    bool Load(const char* text) {
        rapidjson::Document document;
        EXPECT_FALSE(document.Parse(text).HasParseError());
        return m_config.Load(&document);
    }

    Entries GetEntries() const {
        Entries entries;
        for (const Streams entry : m_config.m_streamSeverities) {
            entries.push_back(entry.GetBits());
        }
        return entries;
    }

    /// The entries after loading an array "streams" of these elements.
    Entries LoadElements(const std::string& elements) {
        EXPECT_TRUE(Load(("{\"streams\": [" + elements + "]}").c_str()));
        return GetEntries();
    }

    const Entries m_defaults{0, 0, all, 0, 0, 0, 0};
    TestApplication m_application{L"Tool"};
    LoggerConfig m_config;
};

using LoggerConfigDeathTest = LoggerConfigTest;

TEST(LoggerConfig, HasNameAndIdentity) {
    const LoggerConfig config;
    EXPECT_STREQ(config.GetConfigName(), "Log System Configuration");
    EXPECT_EQ(config.GetTypeID(), 0xACF97F37u);
    EXPECT_EQ(config.GetConfigGUID(), (GUID{0xF165167543884C6E, 0xBE369051BA999E28}));
}

TEST(LoggerConfig, HasItsLimitsFromTheBeginning) {
    const LoggerConfig config;
    EXPECT_EQ(config.m_maxFileSize, 104857600u);
    EXPECT_EQ(config.m_retentionDays, 10);
    EXPECT_EQ(config.m_enabledStreams.GetBits(), all);
    EXPECT_EQ(config.m_directory, L"");
    EXPECT_EQ(config.m_filePrefix, L"");
    EXPECT_TRUE(config.m_streamSeverities.empty());
}

TEST_F(LoggerConfigTest, TakesItsPrefixFromTheApplication) {
    EXPECT_EQ(m_config.m_filePrefix, L"Tool");
}

TEST_F(LoggerConfigTest, TakesItsFolderFromTheUsersFolder) {
    const Tovra::Tests::EnvironmentValue home("HOME", "/home/operator");
    ASSERT_TRUE(Tovra::System::Environment::DirectoryCache::Initialize());
    ASSERT_TRUE(m_application.m_configCache.Initialize(nullptr));
    LoggerConfig config;
    config.SetDefaults();
    EXPECT_EQ(config.m_directory, L"/home/operator/.tovra/Logs");
}

TEST_F(LoggerConfigTest, HasAFolderInTheWorkingFolderWithoutUsersFolder) {
    EXPECT_EQ(m_config.m_directory, L"Logs");
}

TEST(LoggerConfigWithoutApplicationDeathTest, NeedsAnApplication) {
    LoggerConfig config;
    EXPECT_ASSERTION(config.SetDefaults(), "s_instance != nullptr",
                     "Ilegal attempt to access a non-existent application instance.");
}

TEST_F(LoggerConfigTest, LetsInfoPassOnEveryStream) {
    EXPECT_EQ(GetEntries(), m_defaults);
}

TEST_F(LoggerConfigTest, HasFourteenEntriesAfterASecondSetDefaults) {
    m_config.SetDefaults();
    EXPECT_EQ(GetEntries(), (Entries{0, 0, all, 0, 0, 0, 0, 0, 0, all, 0, 0, 0, 0}));
}

TEST_F(LoggerConfigDeathTest, AssertsAtLoadAfterASecondSetDefaults) {
    m_config.SetDefaults();
    EXPECT_ASSERTION(LoadElements(R"({"name": "All", "severity": "Info"})"),
                     "m_streamSeverities.size() == messageTypeIDNames.size()",
                     "Stream severities not properly initialized.");
}

TEST_F(LoggerConfigTest, AssertsNothingAfterASecondSetDefaultsIfNoElementIsUsable) {
    m_config.SetDefaults();
    EXPECT_TRUE(Load(R"({"streams": []})"));
    EXPECT_TRUE(Load(R"({"streams": [{"name": "all", "severity": "Info"}]})"));
}

TEST_F(LoggerConfigTest, RefusesASectionWithoutAnArrayOfStreams) {
    EXPECT_FALSE(m_config.Load(nullptr));
    EXPECT_FALSE(Load("{}"));
    EXPECT_FALSE(Load(R"({"Streams": []})"));
    EXPECT_FALSE(Load(R"({"streams": {}})"));
    EXPECT_FALSE(Load(R"({"streams": null})"));
    EXPECT_EQ(GetEntries(), m_defaults);
}

TEST_F(LoggerConfigTest, RefusesASectionThatIsNoObject) {
    for (const char* const section :
         {"null", "true", "false", "5", "-1", "0.5", R"("streams")", "[]", R"(["streams"])"}) {
        EXPECT_FALSE(Load(section)) << section;
    }
    EXPECT_EQ(GetEntries(), m_defaults);
}

TEST_F(LoggerConfigTest, TakesAnEmptyArray) {
    EXPECT_EQ(LoadElements(""), m_defaults);
}

TEST_F(LoggerConfigTest, ReadsNothingButStreams) {
    EXPECT_TRUE(Load(R"({"streams": [], "directory": "/", "filePrefix": "x", "maxFileSize": 1, "retentionDays": 1})"));
    EXPECT_EQ(m_config.m_directory, L"Logs");
    EXPECT_EQ(m_config.m_filePrefix, L"Tool");
    EXPECT_EQ(m_config.m_maxFileSize, 104857600u);
    EXPECT_EQ(m_config.m_retentionDays, 10);
}

TEST_F(LoggerConfigTest, TakesElementsInOrder) {
    EXPECT_EQ(LoadElements(R"({"name": "All", "severity": "Info"}, {"id": 524288, "severity": "Debug"})"),
              (Entries{0x80000, 0, all ^ 0x80000, 0, 0, 0, 0}));
}

TEST_F(LoggerConfigTest, KnowsEverySeverity) {
    const char* const names[] = {"Debug", "Verbose", "Info", "Warning", "Error", "Critical", "Always"};
    for (std::size_t index = 0; index < std::size(names); ++index) {
        LoadElements(std::string(R"({"name": "Network", "severity": ")") + names[index] + "\"}");
        for (std::size_t other = 0; other < std::size(names); ++other) {
            EXPECT_EQ(m_config.m_streamSeverities[other].HasAny(StreamID::Network), other == index) << names[index];
        }
    }
}

TEST_F(LoggerConfigTest, KnowsEveryStreamByName) {
    for (std::uint32_t bit = 1; bit <= 0x100000; bit <<= 1U) {
        const std::string name = Tovra::System::Log::GetStreamIDString(static_cast<StreamID>(bit));
        EXPECT_EQ(LoadElements(R"({"name": ")" + name + R"(", "severity": "Error"})")[4], bit);
        LoadElements(R"({"name": ")" + name + R"(", "severity": "Info"})");
    }
}

TEST_F(LoggerConfigTest, TakesAnUnknownSeverityForWarning) {
    EXPECT_EQ(LoadElements(R"({"name": "System", "severity": "Loud"})"), (Entries{0, 0, all ^ 2, 2, 0, 0, 0}));
    EXPECT_EQ(LoadElements(R"({"name": "Default", "severity": "info"})"), (Entries{0, 0, all ^ 3, 3, 0, 0, 0}));
}

TEST_F(LoggerConfigTest, TakesASeverityThatIsNoTextForWarning) {
    for (const char* const severity : {"1", "null", "true", "{}", "[]", "\"\""}) {
        LoadElements(R"({"name": "System", "severity": "Info"})");
        EXPECT_EQ(LoadElements(std::string(R"({"name": "System", "severity": )") + severity + "}"),
                  (Entries{0, 0, all ^ 2, 2, 0, 0, 0}))
            << severity;
    }
}

TEST_F(LoggerConfigTest, SkipsWhatIsNoElement) {
    EXPECT_EQ(LoadElements(R"(1, "All", null, [], {}, {"name": "All"}, {"severity": "Error"})"), m_defaults);
}

TEST_F(LoggerConfigTest, SkipsAnUnknownName) {
    for (const char* const name : {"\"all\"", "\"\"", "\"Sys\"", "\"Systems\"", "\"system\"", "2", "null"}) {
        EXPECT_EQ(LoadElements(std::string(R"({"severity": "Error", "name": )") + name + "}"), m_defaults) << name;
    }
}

TEST_F(LoggerConfigTest, SkipsAnIdWithoutKnownStream) {
    EXPECT_EQ(LoadElements(R"({"id": 0, "name": "System", "severity": "Error"})"), m_defaults);
    EXPECT_EQ(LoadElements(R"({"id": 2097152, "name": "System", "severity": "Error"})"), m_defaults);
}

TEST_F(LoggerConfigTest, KeepsTheUnknownBitsOfAnId) {
    EXPECT_EQ(LoadElements(R"({"id": 4294967295, "severity": "Error"})"),
              (Entries{0, 0, 0xFFE00000, 0, 0xFFFFFFFF, 0, 0}));
}

TEST_F(LoggerConfigTest, PrefersTheIdToTheName) {
    EXPECT_EQ(LoadElements(R"({"name": "System", "id": 1, "severity": "Error"})"),
              (Entries{0, 0, all ^ 1, 0, 1, 0, 0}));
}

TEST_F(LoggerConfigTest, TakesTheNameIfTheIdIsNoUnsignedInteger) {
    for (const char* const id : {"-1", "1.5", "\"1\"", "null", "4294967296", "1.0"}) {
        LoadElements(R"({"name": "System", "severity": "Info"})");
        EXPECT_EQ(LoadElements(std::string(R"({"name": "System", "severity": "Error", "id": )") + id + "}"),
                  (Entries{0, 0, all ^ 2, 0, 2, 0, 0}))
            << id;
    }
}

TEST_F(LoggerConfigTest, GivesAStreamThatIsNamedTwiceItsLastSeverity) {
    EXPECT_EQ(LoadElements(R"({"name": "System", "severity": "Debug"}, {"name": "System", "severity": "Critical"})"),
              (Entries{0, 0, all ^ 2, 0, 0, 2, 0}));
}

TEST_F(LoggerConfigTest, TogglesTheStreamsOfASetInEveryEntryThatHoldsOneOfThem) {
    EXPECT_EQ(LoadElements(R"({"name": "Default", "severity": "Debug"}, {"name": "All", "severity": "Error"})"),
              (Entries{all ^ 1, 0, 1, 0, all, 0, 0}));
}

TEST(LoggerConfig, LoadsItsSectionOfTheConfiguration) {
    TestApplication application;
    ASSERT_TRUE(application.m_configCache.Load(std::string(R"({"settings": [{"name": "LogSystem", "configuration":
        {"streams": [{"name": "All", "severity": "Info"}, {"id": 524288, "severity": "Debug"}]}}]})")));
    const LoggerConfig* const config = application.m_configCache.AddConfig<Logger>();
    ASSERT_EQ(config->m_streamSeverities.size(), 7u);
    EXPECT_EQ(config->m_streamSeverities[0].GetBits(), 0x80000u);
}

TEST(LoggerConfig, LeavesEveryStreamAtInfoWithoutASectionOfTheConfiguration) {
    TestApplication application;
    ASSERT_TRUE(application.m_configCache.Load(std::string(R"({"settings": []})")));
    const LoggerConfig* const config = application.m_configCache.AddConfig<Logger>();
    ASSERT_EQ(config->m_streamSeverities.size(), 7u);
    EXPECT_EQ(config->m_streamSeverities[2], allStreams);
}

class LoggerConfigSectionDeathTest : public ::testing::TestWithParam<const char*> {};

TEST_P(LoggerConfigSectionDeathTest, AssertsForASectionWithoutStreams) {
    TestApplication application;
    ASSERT_TRUE(application.m_configCache.Load(std::string(R"({"settings": [{"name": "LogSystem", "configuration": )") +
                                               GetParam() + "}]}"));
    EXPECT_ASSERTION(application.m_configCache.AddConfig<Logger>(), "success", "Failed to initialize configuration.");
}

INSTANTIATE_TEST_SUITE_P(OfEachType, LoggerConfigSectionDeathTest,
                         ::testing::Values(R"({"x": 1})", "{}", "null", "true", "false", "5", "0.5", R"("x")", "[]"));

} // namespace
