#include <System/Desktop/ReturnCodes.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Tovra::System::Desktop::ReturnCodes;

/// Empties the catalogue, which is one per process, before and after each test.
class ReturnCodesTest : public ::testing::Test {
protected:
    ReturnCodesTest() { Empty(); }
    ~ReturnCodesTest() override { Empty(); }

    void Empty() {
        m_codes.Clear();
        m_codes.AddDataCallback({});
    }

    void AddSuccess() {
        m_codes.AddParameter(5, "Check");
        m_codes.AddReturnCode(5, 0, "Success");
    }

    std::string GetJson(unsigned int parameter, int code) const {
        std::string json;
        EXPECT_TRUE(m_codes.GenerateReturnJson(parameter, code, json));
        return json;
    }

    std::string GetOptionsJson(unsigned int mask) const {
        std::string json = "replaced";
        EXPECT_TRUE(m_codes.GenerateReturnOptionsJson(mask, json));
        return json;
    }

    ReturnCodes& m_codes = ReturnCodes::GetInstance();
};

TEST_F(ReturnCodesTest, AreOneCatalogueForTheProcess) {
    EXPECT_EQ(&ReturnCodes::GetInstance(), &m_codes);
}

TEST_F(ReturnCodesTest, AnswerNothingWhileEmpty) {
    int code = 42;
    std::string_view name = "kept";
    std::string json = "kept";
    EXPECT_FALSE(m_codes.HasParameter(0));
    EXPECT_EQ(m_codes.GetParameterIndex(0), -1);
    EXPECT_FALSE(m_codes.HasReturnCode(0, 0));
    EXPECT_FALSE(m_codes.GetReturnCode(0, "Success", code));
    EXPECT_EQ(code, 42);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(0, "Success"), -1);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(0, 0), -1);
    EXPECT_FALSE(m_codes.GetReturnCodeName(0, 0, name));
    EXPECT_EQ(name, "kept");
    EXPECT_FALSE(m_codes.GenerateReturnJson(0, 0, json));
    EXPECT_EQ(json, "kept");
}

TEST_F(ReturnCodesTest, EmptyCatalogueHasAnEmptyListOfParameters) {
    EXPECT_EQ(GetOptionsJson(0), "{\n    \"parameters\": []\n}");
}

TEST_F(ReturnCodesTest, ParametersHaveTheirPlaceInTheOrderOfAddition) {
    EXPECT_TRUE(m_codes.AddParameter(8, "Eight"));
    EXPECT_TRUE(m_codes.AddParameter(6, "Six"));
    EXPECT_EQ(m_codes.GetParameterIndex(8), 0);
    EXPECT_EQ(m_codes.GetParameterIndex(6), 1);
    EXPECT_EQ(m_codes.GetParameterIndex(7), -1);
    EXPECT_TRUE(m_codes.HasParameter(6));
    EXPECT_FALSE(m_codes.HasParameter(7));
}

TEST_F(ReturnCodesTest, OfTwoParametersWithOneIdTheFirstStays) {
    EXPECT_TRUE(m_codes.AddParameter(1, "First"));
    EXPECT_FALSE(m_codes.AddParameter(1, "Second"));
    EXPECT_EQ(GetOptionsJson(0), "{\n"
                                 "    \"parameters\": [\n"
                                 "        {\n"
                                 "            \"name\": \"First\",\n"
                                 "            \"codes\": []\n"
                                 "        }\n"
                                 "    ]\n"
                                 "}");
}

TEST_F(ReturnCodesTest, TwoParametersMayHaveOneName) {
    EXPECT_TRUE(m_codes.AddParameter(1, "Same"));
    EXPECT_TRUE(m_codes.AddParameter(2, "Same"));
}

TEST_F(ReturnCodesTest, CodeNeedsItsParameter) {
    EXPECT_FALSE(m_codes.AddReturnCode(1, 0, "Success"));
    EXPECT_FALSE(m_codes.AddReturnCodes(1, {{0, "Success"}}));
    EXPECT_FALSE(m_codes.AddReturnCodes(1, {}));
    EXPECT_FALSE(m_codes.HasReturnCode(1, 0));
}

TEST_F(ReturnCodesTest, SingleCodeIsNotAddedTwice) {
    m_codes.AddParameter(1, "One");
    EXPECT_TRUE(m_codes.AddReturnCode(1, -1, "First"));
    EXPECT_FALSE(m_codes.AddReturnCode(1, -1, "Second"));
    EXPECT_EQ(m_codes.GetReturnCodeIndex(1, "Second"), -1);
}

TEST_F(ReturnCodesTest, ListOfCodesIsAddedWithItsDuplicatesAndTheFirstIsFound) {
    m_codes.AddParameter(1, "One");
    EXPECT_TRUE(m_codes.AddReturnCode(1, 0, "First"));
    EXPECT_TRUE(m_codes.AddReturnCodes(1, {{0, "Second"}, {0, "First"}}));
    std::string_view name;
    EXPECT_TRUE(m_codes.GetReturnCodeName(1, 0, name));
    EXPECT_EQ(name, "First");
    EXPECT_EQ(m_codes.GetReturnCodeIndex(1, 0), 0);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(1, "First"), 0);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(1, "Second"), 1);
    EXPECT_EQ(GetOptionsJson(0), "{\n"
                                 "    \"parameters\": [\n"
                                 "        {\n"
                                 "            \"name\": \"One\",\n"
                                 "            \"codes\": [\n"
                                 "                {\n"
                                 "                    \"name\": \"First\",\n"
                                 "                    \"code\": 0\n"
                                 "                },\n"
                                 "                {\n"
                                 "                    \"name\": \"Second\",\n"
                                 "                    \"code\": 0\n"
                                 "                },\n"
                                 "                {\n"
                                 "                    \"name\": \"First\",\n"
                                 "                    \"code\": 0\n"
                                 "                }\n"
                                 "            ]\n"
                                 "        }\n"
                                 "    ]\n"
                                 "}");
}

TEST_F(ReturnCodesTest, EmptyListOfCodesIsASuccess) {
    m_codes.AddParameter(1, "One");
    EXPECT_TRUE(m_codes.AddReturnCodes(1, {}));
}

TEST_F(ReturnCodesTest, NumbersOfAListAreCodesBitForBit) {
    m_codes.AddParameter(1, "One");
    EXPECT_TRUE(m_codes.AddReturnCodes(1, {{0xFFFFFFFF, "Minus one"}, {0x80000000, "Least"}, {0x7FFFFFFF, "Most"}}));
    EXPECT_TRUE(m_codes.HasReturnCode(1, -1));
    EXPECT_TRUE(m_codes.HasReturnCode(1, -2147483647 - 1));
    EXPECT_TRUE(m_codes.HasReturnCode(1, 2147483647));
    EXPECT_EQ(GetJson(1, -2147483647 - 1), "{\n    \"name\": \"Least\",\n    \"code\": -2147483648\n}");
}

TEST_F(ReturnCodesTest, CodeAndNameBelongToTheirParameter) {
    m_codes.AddParameter(1, "One");
    m_codes.AddParameter(2, "Two");
    m_codes.AddReturnCode(1, -3, "Missing Rights");
    m_codes.AddReturnCode(2, -2, "Missing Rights");
    m_codes.AddReturnCode(2, 1, "Failed");
    int code = 42;
    EXPECT_FALSE(m_codes.GetReturnCode(1, "Failed", code));
    EXPECT_EQ(code, 42);
    EXPECT_TRUE(m_codes.GetReturnCode(1, "Missing Rights", code));
    EXPECT_EQ(code, -3);
    EXPECT_TRUE(m_codes.GetReturnCode(2, "Missing Rights", code));
    EXPECT_EQ(code, -2);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(2, "Missing Rights"), 1);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(2, 1), 2);
    EXPECT_EQ(m_codes.GetReturnCodeIndex(1, 1), -1);
    EXPECT_FALSE(m_codes.HasReturnCode(1, -2));
}

TEST_F(ReturnCodesTest, NamesAreComparedByLengthAndBytes) {
    AddSuccess();
    int code = 42;
    EXPECT_FALSE(m_codes.GetReturnCode(5, "success", code));
    EXPECT_FALSE(m_codes.GetReturnCode(5, "Succes", code));
    EXPECT_FALSE(m_codes.GetReturnCode(5, "Success ", code));
    EXPECT_FALSE(m_codes.GetReturnCode(5, std::string_view("Success\0", 8), code));
    EXPECT_EQ(code, 42);
}

TEST_F(ReturnCodesTest, NamesAreViewsOfTheGivenText) {
    std::string text = "Success";
    m_codes.AddParameter(1, "One");
    m_codes.AddReturnCode(1, 0, text);
    std::string_view name;
    EXPECT_TRUE(m_codes.GetReturnCodeName(1, 0, name));
    EXPECT_EQ(name.data(), text.data());
}

TEST_F(ReturnCodesTest, UnknownCodeLeavesTheNameUntouched) {
    AddSuccess();
    std::string_view name = "kept";
    EXPECT_FALSE(m_codes.GetReturnCodeName(5, 1, name));
    EXPECT_EQ(name, "kept");
}

TEST_F(ReturnCodesTest, ResultWithoutCallbackHasNoData) {
    AddSuccess();
    EXPECT_EQ(GetJson(5, 0), "{\n    \"name\": \"Success\",\n    \"code\": 0\n}");
}

TEST_F(ReturnCodesTest, ResultThatTheCallbackDeclinesHasNoData) {
    AddSuccess();
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap& data) {
        data["previous"] = true;
        return false;
    });
    EXPECT_EQ(GetJson(5, 0), "{\n    \"name\": \"Success\",\n    \"code\": 0\n}");
}

TEST_F(ReturnCodesTest, ResultWithDataThatIsEmptyShowsAnEmptyObject) {
    AddSuccess();
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap&) { return true; });
    EXPECT_EQ(GetJson(5, 0), "{\n    \"name\": \"Success\",\n    \"code\": 0,\n    \"data\": {}\n}");
}

TEST_F(ReturnCodesTest, ValuesGoOutAsTheirAlternatives) {
    AddSuccess();
    const std::pair<ReturnCodes::DataValue, std::string> cases[] = {
        {false, "false"},
        {true, "true"},
        {-7, "-7"},
        {std::string("4.5 (Core)"), "\"4.5 (Core)\""},
        {std::string("cut\0off", 7), "\"cut\""},
        {std::string(), "\"\""},
        {std::string("\"\\/\b\f\n\r\t\x01\x7F\xC3\xA9"), "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\x7F\xC3\xA9\""},
    };
    for (const auto& [value, text] : cases) {
        m_codes.AddDataCallback([&value](unsigned int, int, ReturnCodes::DataMap& data) {
            data["previous"] = value;
            return true;
        });
        EXPECT_EQ(GetJson(5, 0), "{\n"
                                 "    \"name\": \"Success\",\n"
                                 "    \"code\": 0,\n"
                                 "    \"data\": {\n"
                                 "        \"previous\": " +
                                     text +
                                     "\n"
                                     "    }\n"
                                     "}");
    }
}

TEST_F(ReturnCodesTest, SeveralValuesStandInTheOrderOfTheMap) {
    AddSuccess();
    std::string expected = "{\n    \"name\": \"Success\",\n    \"code\": 0,\n    \"data\": {";
    m_codes.AddDataCallback([&expected](unsigned int, int, ReturnCodes::DataMap& data) {
        data["first"] = 1;
        data["second"] = 2;
        const char* separator = "\n";
        for (const auto& [name, value] : data) {
            expected += std::string(separator) + "        \"" + name + "\": " + std::to_string(std::get<int>(value));
            separator = ",\n";
        }
        return true;
    });
    const std::string json = GetJson(5, 0);
    EXPECT_EQ(json, expected + "\n    }\n}");
}

TEST_F(ReturnCodesTest, KeysAreComparedAsPointers) {
    AddSuccess();
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap& data) {
        static const char s_first[] = "same\0first";
        static const char s_second[] = "same\0second";
        data[s_first] = 1;
        data[s_second] = 1;
        return true;
    });
    EXPECT_EQ(GetJson(5, 0), "{\n"
                             "    \"name\": \"Success\",\n"
                             "    \"code\": 0,\n"
                             "    \"data\": {\n"
                             "        \"same\": 1,\n"
                             "        \"same\": 1\n"
                             "    }\n"
                             "}");
}

TEST_F(ReturnCodesTest, CallbackIsToldParameterAndCodeAndGetsAnEmptyMap) {
    AddSuccess();
    m_codes.AddReturnCode(5, -1, "Platform Unsupported");
    int calls = 0;
    m_codes.AddDataCallback([&calls](unsigned int parameter, int code, ReturnCodes::DataMap& data) {
        EXPECT_EQ(parameter, 5u);
        EXPECT_EQ(code, -1);
        EXPECT_TRUE(data.empty());
        EXPECT_EQ(data.max_load_factor(), 1.0f);
        ++calls;
        return true;
    });
    GetJson(5, -1);
    EXPECT_EQ(calls, 1);
}

TEST_F(ReturnCodesTest, UnknownResultLeavesTheDocumentUntouchedAndAsksNobody) {
    AddSuccess();
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap&) {
        ADD_FAILURE();
        return true;
    });
    std::string json = "kept";
    EXPECT_FALSE(m_codes.GenerateReturnJson(5, 1, json));
    EXPECT_EQ(json, "kept");
}

TEST_F(ReturnCodesTest, DocumentReplacesWhatTheTextHeld) {
    AddSuccess();
    std::string json(1000, 'x');
    EXPECT_TRUE(m_codes.GenerateReturnJson(5, 0, json));
    EXPECT_EQ(json, "{\n    \"name\": \"Success\",\n    \"code\": 0\n}");
}

TEST_F(ReturnCodesTest, NameWithoutTextIsAnEmptyOne) {
    m_codes.AddParameter(1, {});
    m_codes.AddReturnCode(1, 0, {});
    EXPECT_EQ(GetJson(1, 0), "{\n    \"name\": \"\",\n    \"code\": 0\n}");
}

TEST_F(ReturnCodesTest, SecondCallbackDestroysTheFirst) {
    const auto alive = std::make_shared<int>();
    m_codes.AddDataCallback([alive](unsigned int, int, ReturnCodes::DataMap&) { return true; });
    EXPECT_EQ(alive.use_count(), 2);
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap&) { return true; });
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(ReturnCodesTest, OptionsShowParametersAndTheirCodesInOrderOfAddition) {
    m_codes.AddParameter(8, "Eight");
    m_codes.AddParameter(6, "Six");
    m_codes.AddReturnCodes(6, {{0, "Success"}, {1, "Failed"}});
    m_codes.AddReturnCode(8, 0, "Success");
    m_codes.AddReturnCode(6, -2, "Missing Rights");
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap&) {
        ADD_FAILURE();
        return true;
    });
    EXPECT_EQ(GetOptionsJson(0), "{\n"
                                 "    \"parameters\": [\n"
                                 "        {\n"
                                 "            \"name\": \"Eight\",\n"
                                 "            \"codes\": [\n"
                                 "                {\n"
                                 "                    \"name\": \"Success\",\n"
                                 "                    \"code\": 0\n"
                                 "                }\n"
                                 "            ]\n"
                                 "        },\n"
                                 "        {\n"
                                 "            \"name\": \"Six\",\n"
                                 "            \"codes\": [\n"
                                 "                {\n"
                                 "                    \"name\": \"Success\",\n"
                                 "                    \"code\": 0\n"
                                 "                },\n"
                                 "                {\n"
                                 "                    \"name\": \"Failed\",\n"
                                 "                    \"code\": 1\n"
                                 "                },\n"
                                 "                {\n"
                                 "                    \"name\": \"Missing Rights\",\n"
                                 "                    \"code\": -2\n"
                                 "                }\n"
                                 "            ]\n"
                                 "        }\n"
                                 "    ]\n"
                                 "}");
}

TEST_F(ReturnCodesTest, MaskTakesIdsThatLieWithinIt) {
    const char* const names[] = {"0", "1", "2", "3", "4", "5"};
    for (unsigned int id = 0; id < std::size(names); ++id) {
        m_codes.AddParameter(id, names[id]);
    }
    const auto isShown = [this](unsigned int mask, const char* name) {
        return GetOptionsJson(mask).find("\"name\": \"" + std::string(name) + "\"") != std::string::npos;
    };
    for (unsigned int mask = 0; mask < 8; ++mask) {
        for (unsigned int id = 0; id < std::size(names); ++id) {
            EXPECT_EQ(isShown(mask, names[id]), mask == 0 || (id | mask) == mask) << mask << ' ' << id;
        }
    }
}

TEST_F(ReturnCodesTest, MaskThatCoversNoIdGivesAnEmptyList) {
    m_codes.AddParameter(4, "Four");
    EXPECT_EQ(GetOptionsJson(3), "{\n    \"parameters\": []\n}");
}

TEST_F(ReturnCodesTest, ClearForgetsAllButTheCallback) {
    AddSuccess();
    m_codes.AddDataCallback([](unsigned int, int, ReturnCodes::DataMap&) { return true; });
    m_codes.Clear();
    std::string json = "kept";
    EXPECT_FALSE(m_codes.GenerateReturnJson(5, 0, json));
    EXPECT_EQ(json, "kept");
    EXPECT_FALSE(m_codes.HasParameter(5));
    AddSuccess();
    EXPECT_EQ(GetJson(5, 0), "{\n    \"name\": \"Success\",\n    \"code\": 0,\n    \"data\": {}\n}");
}

} // namespace
