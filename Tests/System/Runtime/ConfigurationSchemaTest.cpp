#include <Support/Folders.h>
#include <System/Log/Streams.h>
#include <System/Serialization/JsonSchemaWrapper.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>

#include <fstream>

namespace {

using Tovra::System::Serialization::JsonSchemaWrapper;
using Tovra::System::Serialization::JsonWrapper;

/// The schema that is installed beside the executable.
class ConfigurationSchemaTest : public ::testing::Test {
protected:
    ConfigurationSchemaTest() {
        std::ifstream file(Tovra::Tests::GetBinaryFolder() / "Schemas/Halvorn-Configuration-2501.json");
        rapidjson::IStreamWrapper stream(file);
        const JsonWrapper json;
        json.GetDocument()->ParseStream(stream);
        EXPECT_TRUE(json.GetDocument()->IsObject());
        EXPECT_TRUE(m_schema.Compile(json));
    }

    bool IsValid(const std::string& text) const {
        const JsonWrapper json;
        rapidjson::StringStream stream(text.c_str());
        json.GetDocument()->ParseStream(stream);
        EXPECT_FALSE(json.GetDocument()->HasParseError()) << text;
        std::string error;
        return m_schema.Validate(json, error);
    }

    bool IsValidEntry(const std::string& entry) const { return IsValid(R"({"settings": [)" + entry + "]}"); }

    bool IsValidLogSection(const std::string& section) const {
        return IsValidEntry(R"({"name": "LogSystem", "configuration": )" + section + "}");
    }

    bool IsValidStream(const std::string& stream) const {
        return IsValidLogSection(R"({"streams": [)" + stream + "]}");
    }

    JsonSchemaWrapper m_schema;
};

TEST_F(ConfigurationSchemaTest, AcceptsAWholeConfiguration) {
    EXPECT_TRUE(IsValid(R"({
        "settings": [
            {
                "name": "LogSystem",
                "guid": "{4392DED5-2813-410E-A3BB-393A4153F1F9}",
                "configuration": {
                    "streams": [ { "name": "All", "severity": "Info" }, { "id": 524288, "severity": "Debug" } ]
                }
            },
            { "name": "ThreadingSystem", "configuration": null }
        ],
        "comment": "other members are nobody's business"
    })"));
}

TEST_F(ConfigurationSchemaTest, WantsAnObjectWithSettings) {
    EXPECT_FALSE(IsValid("[]"));
    EXPECT_FALSE(IsValid("null"));
    EXPECT_FALSE(IsValid("{}"));
    EXPECT_FALSE(IsValid(R"({"Settings": []})"));
    EXPECT_TRUE(IsValid(R"({"settings": []})"));
}

TEST_F(ConfigurationSchemaTest, WantsSettingsToBeAnArrayOfObjects) {
    EXPECT_FALSE(IsValid(R"({"settings": {}})"));
    EXPECT_FALSE(IsValid(R"({"settings": null})"));
    EXPECT_FALSE(IsValidEntry("7"));
    EXPECT_FALSE(IsValidEntry("[]"));
    EXPECT_FALSE(IsValidEntry("{}"));
}

TEST_F(ConfigurationSchemaTest, TakesEntriesOfUnknownSystemsAsTheyAre) {
    for (const std::string section : {"{}", "[]", "7", "null", R"("text")", R"({"streams": 7})"}) {
        EXPECT_TRUE(IsValidEntry(R"({"name": "Other", "configuration": )" + section + "}")) << section;
    }
    EXPECT_TRUE(IsValidEntry(R"({"name": "logsystem", "configuration": 7})"));
    EXPECT_TRUE(IsValidEntry(R"({"name": "Other", "configuration": 7, "comment": true})"));
}

TEST_F(ConfigurationSchemaTest, WantsANameOrAnIdentity) {
    EXPECT_TRUE(IsValidEntry(R"({"name": "Other", "configuration": 7})"));
    EXPECT_TRUE(IsValidEntry(R"({"guid": "01234567-89ab-cdef-0123-456789ABCDEF", "configuration": 7})"));
    EXPECT_FALSE(IsValidEntry(R"({"configuration": 7})"));
    EXPECT_FALSE(IsValidEntry(R"({"name": 7, "configuration": 7})"));
    EXPECT_FALSE(IsValidEntry(R"({"name": "", "configuration": 7})"));
}

TEST_F(ConfigurationSchemaTest, WantsAConfigurationInEachEntry) {
    EXPECT_FALSE(IsValidEntry(R"({"name": "Other"})"));
    EXPECT_FALSE(IsValidEntry(R"({"name": "LogSystem"})"));
}

TEST_F(ConfigurationSchemaTest, WantsIdentitiesInTheirTextForm) {
    const auto isValid = [this](const std::string& text) {
        return IsValidEntry(R"({"guid": ")" + text + R"(", "configuration": 7})");
    };
    EXPECT_TRUE(isValid("01234567-89AB-CDEF-0123-456789ABCDEF"));
    EXPECT_TRUE(isValid("{01234567-89ab-cdef-0123-456789abcdef}"));
    EXPECT_FALSE(isValid("{01234567-89AB-CDEF-0123-456789ABCDEF"));
    EXPECT_FALSE(isValid("01234567-89AB-CDEF-0123-456789ABCDEF}"));
    EXPECT_FALSE(isValid("01234567-89AB-CDEF-0123-456789ABCDE"));
    EXPECT_FALSE(isValid("01234567-89AB-CDEF-0123-456789ABCDEFF"));
    EXPECT_FALSE(isValid("01234567-89AB-CDEF-0123-456789ABCDEG"));
    EXPECT_FALSE(isValid("0123456789ABCDEF0123456789ABCDEF0123"));
    EXPECT_FALSE(isValid(R"({01234567-89AB-CDEF-0123-456789ABCDEF}\u0000)"));
    EXPECT_FALSE(isValid(R"(01234567-89AB-CDEF-0123-456789ABCDEF\u0000)"));
    EXPECT_FALSE(isValid(""));
    EXPECT_FALSE(IsValidEntry(R"({"guid": 7, "configuration": 7})"));
}

TEST_F(ConfigurationSchemaTest, WantsStreamsInTheLogSection) {
    EXPECT_TRUE(IsValidLogSection(R"({"streams": []})"));
    EXPECT_TRUE(IsValidLogSection(R"({"streams": [], "comment": 7})"));
    EXPECT_FALSE(IsValidLogSection("{}"));
    EXPECT_FALSE(IsValidLogSection("[]"));
    EXPECT_FALSE(IsValidLogSection("null"));
    EXPECT_FALSE(IsValidLogSection(R"({"streams": {}})"));
}

TEST_F(ConfigurationSchemaTest, KnowsTheLogSystemAsFarAsTheFirstZeroByteOfAName) {
    EXPECT_FALSE(IsValidEntry(R"({"name": "LogSystem\u0000x", "configuration": 7})"));
    EXPECT_TRUE(IsValidEntry(R"({"name": "LogSystem\u0000x", "configuration": {"streams": []}})"));
    EXPECT_TRUE(IsValidEntry(R"({"name": "LogSystem2", "configuration": 7})"));
}

TEST_F(ConfigurationSchemaTest, TakesTheFirstOfEqualKeysAsTheReaderDoes) {
    EXPECT_FALSE(IsValidEntry(R"({"name": "LogSystem", "name": "Other", "configuration": 7})"));
    EXPECT_TRUE(IsValidEntry(R"({"name": "Other", "name": "LogSystem", "configuration": 7})"));
    EXPECT_FALSE(IsValidEntry(R"({"name": "LogSystem", "configuration": 7, "configuration": {"streams": []}})"));
    EXPECT_TRUE(IsValidEntry(R"({"name": "LogSystem", "configuration": {"streams": []}, "configuration": 7})"));
    EXPECT_TRUE(IsValid(R"({"settings": [], "settings": 7})"));
    EXPECT_FALSE(IsValid(R"({"settings": 7, "settings": []})"));
}

TEST_F(ConfigurationSchemaTest, KnowsTheLogSystemByItsIdentityToo) {
    for (const std::string guid : {"{4392DED5-2813-410E-A3BB-393A4153F1F9}", "4392ded5-2813-410e-a3bb-393a4153f1f9"}) {
        const std::string entry = R"({"name": "Other", "guid": ")" + guid + R"(", "configuration": )";
        EXPECT_TRUE(IsValidEntry(entry + R"({"streams": []}})"));
        EXPECT_FALSE(IsValidEntry(entry + "{}}"));
    }
}

TEST_F(ConfigurationSchemaTest, WantsASeverityAndAStreamInEachElement) {
    EXPECT_TRUE(IsValidStream(R"({"name": "System", "severity": "Info"})"));
    EXPECT_TRUE(IsValidStream(R"({"id": 2, "severity": "Info"})"));
    EXPECT_TRUE(IsValidStream(R"({"id": 2, "name": "System", "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"name": "System"})"));
    EXPECT_FALSE(IsValidStream(R"({"severity": "Info"})"));
    EXPECT_FALSE(IsValidStream("7"));
    EXPECT_FALSE(IsValidStream("{}"));
}

TEST_F(ConfigurationSchemaTest, KnowsTheSeverities) {
    for (const std::string severity : {"Debug", "Verbose", "Info", "Warning", "Error", "Critical", "Always"}) {
        EXPECT_TRUE(IsValidStream(R"({"name": "All", "severity": ")" + severity + R"("})")) << severity;
    }
    EXPECT_FALSE(IsValidStream(R"({"name": "All", "severity": "Loud"})"));
    EXPECT_FALSE(IsValidStream(R"({"name": "All", "severity": "info"})"));
    EXPECT_FALSE(IsValidStream(R"({"name": "All", "severity": 2})"));
}

TEST_F(ConfigurationSchemaTest, KnowsEveryStream) {
#define TOVRA_LOG_STREAM(name, bit) EXPECT_TRUE(IsValidStream(R"({"name": ")" #name R"(", "severity": "Info"})"));
    TOVRA_LOG_STREAMS(TOVRA_LOG_STREAM)
#undef TOVRA_LOG_STREAM
    EXPECT_TRUE(IsValidStream(R"({"name": "All", "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"name": "all", "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"name": "Other", "severity": "Info"})"));
}

TEST_F(ConfigurationSchemaTest, WantsMasksToBeUnsignedIntegers) {
    EXPECT_TRUE(IsValidStream(R"({"id": 0, "severity": "Info"})"));
    EXPECT_TRUE(IsValidStream(R"({"id": 4294967295, "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"id": 4294967296, "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"id": -1, "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"id": 2.0, "severity": "Info"})"));
    EXPECT_FALSE(IsValidStream(R"({"id": "2", "severity": "Info"})"));
}

} // namespace
