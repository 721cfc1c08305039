#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/FileOperations.h>
#include <Fakes/LogFileOperations.h>
#include <Support/Assertions.h>
#include <Support/EnvironmentValue.h>
#include <Support/InChild.h>
#include <Support/MemoryFault.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/TestLogger.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Runtime/Config.h>
#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <random>
#include <utility>
#include <vector>

namespace {

using Tovra::System::GUID;
using Tovra::System::Environment::DirectoryCache;
using Tovra::System::FileSystem::Path;
using Tovra::System::Runtime::ApplicationConfigCache;
using Tovra::System::Runtime::Config;
using Tovra::System::Serialization::JsonWrapper;
using Tovra::System::Types::TypeID;
using Tovra::Tests::AreLogLines;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::MemoryFault;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::TestLogger;
using Tovra::Tests::Fakes::applicationDirectoryOperations;
using Tovra::Tests::Fakes::fileOperations;
using Tovra::Tests::Fakes::logFileOperations;

constexpr const char* schemaThatRequiresSettings = R"({"type": "object", "required": ["settings"]})";

/// Which configurations were destroyed, in order.
std::vector<std::string> destroyed;

class NumberConfig final : public Config<NumberConfig, "Number Configuration", GUID{1, 2}> {
public:
    static constexpr TypeID s_typeID = 0x11111111;

    ~NumberConfig() override { destroyed.push_back("number"); }

    void SetDefaults() override { m_number = 7; }
    bool Load(const void* section) override {
        const auto& value = *static_cast<const rapidjson::Value*>(section);
        m_number = value.IsInt() ? value.GetInt() : -1;
        return value.IsInt();
    }

    int m_number = 0;
};

struct NumberSystem {
    using Config_Type = NumberConfig;
    static constexpr const char* s_systemName = "NumberSystem";
    static constexpr GUID s_systemGUID{0x4392DED52813410E, 0xA3BB393A4153F1F9};
};

class OtherConfig final : public Config<OtherConfig, "Other Configuration", GUID{3, 4}> {
public:
    static constexpr TypeID s_typeID = 0x22222222;

    ~OtherConfig() override { destroyed.push_back("other"); }

    void SetDefaults() override {}
    bool Load(const void*) override { return true; }
};

struct OtherSystem {
    using Config_Type = OtherConfig;
    static constexpr const char* s_systemName = "OtherSystem";
    static constexpr GUID s_systemGUID{5, 6};
};

/// A configuration with that section for the number system.
std::string MakeConfiguration(const std::string& number) {
    return R"({"settings": [{"name": "NumberSystem", "configuration": )" + number + "}]}";
}

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

class ApplicationConfigCacheTest : public Tovra::Tests::ApplicationTest {
protected:
    ApplicationConfigCacheTest() {
        destroyed.clear();
        applicationDirectoryOperations.executablePath = m_folder.GetPath() / "Tool";
        DirectoryCache::Initialize();
    }

    void InitializeWithSchema(const std::string& schema);

    std::wstring GetUserFolder(const std::string& home);

    bool LoadFile(const std::string& text) { return m_cache.Load(Path(m_folder.Write("file.json", text))); }

    std::string GetValidationError() const {
        std::string error;
        EXPECT_EQ(m_cache.TryGetValidationError(error), !error.empty());
        return error;
    }

    /// The number for the number system in a configuration; -1 for none.
    int FindNumber(const std::string& text) const;

    int FindNumberIn(const std::string& elements) const { return FindNumber(R"({"settings": [)" + elements + "]}"); }

    std::string GetParseError(const std::string& text) const;

    TemporaryFolder m_folder;
    EnvironmentValue m_home{"HOME", "/home/operator"};
    ApplicationConfigCache m_cache;
};

using ApplicationConfigCacheDeathTest = ApplicationConfigCacheTest;

TEST_F(ApplicationConfigCacheTest, PutsTheUserFolderIntoTheHomeDirectory) {
    EXPECT_EQ(GetUserFolder("/home/operator"), L"/home/operator/.tovra");
    EXPECT_EQ(GetUserFolder("relative"), L"relative/.tovra");
    EXPECT_EQ(GetUserFolder(""), L".tovra");
}

TEST_F(ApplicationConfigCacheTest, DoublesNoSeparatorBehindTheHomeDirectory) {
    EXPECT_EQ(GetUserFolder("/home/operator/"), L"/home/operator/.tovra");
    EXPECT_EQ(GetUserFolder("/"), L"/.tovra");
}

TEST_F(ApplicationConfigCacheTest, ReadsTheHomeDirectoryAsUtf8WhateverTheLocale) {
    EXPECT_EQ(GetUserFolder("/home/\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80"), L"/home/\u00E4\u65E5\U0001F600/.tovra");
}

TEST_F(ApplicationConfigCacheTest, HasNoUserFolderInAHomeDirectoryThatIsNoText) {
    for (const std::string home : {"/home/\xFF\xFE", "/home/\xC3", "/home/\xED\xA0\x80", "/home/\xF4\x90\x80\x80"}) {
        m_home.Set(home);
        DirectoryCache::Initialize();
        EXPECT_THROW(m_cache.Initialize(nullptr), std::runtime_error) << home;
        EXPECT_EQ(m_cache.GetUserFolder(), L"") << home;
    }
}

TEST_F(ApplicationConfigCacheTest, CreatesNoFolder) {
    EXPECT_EQ(GetUserFolder(m_folder.GetPath()), (m_folder.GetPath() / ".tovra").wstring());
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.GetPath()));
}

TEST_F(ApplicationConfigCacheTest, FindsTheApplicationDirectoryByTheExecutableAsItStands) {
    applicationDirectoryOperations.executablePath = "/opt/./tovra/../tovra/Tool";
    EXPECT_TRUE(m_cache.Initialize("/other/Tool"));
    EXPECT_EQ(m_cache.GetApplicationDirectory(), "/opt/./tovra/../tovra");
}

TEST_F(ApplicationConfigCacheTest, FindsTheExecutableByAPathOfAtMost255Characters) {
    applicationDirectoryOperations.executablePath = "/" + std::string(249, 'd') + "/Tool";
    ASSERT_EQ(applicationDirectoryOperations.executablePath.size(), 255u);
    EXPECT_EQ(ApplicationConfigCache::RetrieveApplicationDirectoryPlatform(), "/" + std::string(249, 'd'));
    applicationDirectoryOperations.executablePath += 's';
    EXPECT_EQ(ApplicationConfigCache::RetrieveApplicationDirectoryPlatform(), "");
}

TEST_F(ApplicationConfigCacheTest, FallsBackToTheFolderOfTheFirstArgument) {
    applicationDirectoryOperations.executablePath = "/" + std::string(300, 'd') + "/Tool";
    EXPECT_TRUE(m_cache.Initialize("some/where/Tool"));
    EXPECT_EQ(m_cache.GetApplicationDirectory(), "some/where");
}

TEST_F(ApplicationConfigCacheTest, HasNoApplicationDirectoryWithoutPathAndArgument) {
    applicationDirectoryOperations.executablePathFault = {.call = 1, .lasts = true};
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_EQ(m_cache.GetApplicationDirectory(), "");
}

TEST_F(ApplicationConfigCacheTest, LooksForTheSchemaInTheWorkingFolderIfThereIsNoApplicationDirectory) {
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.GetPath());
    applicationDirectoryOperations.executablePathFault = {.call = 1, .lasts = true};
    InitializeWithSchema("{}");
    std::filesystem::current_path(previous);
    EXPECT_TRUE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, CompilesTheSchemaBesideTheExecutable) {
    EXPECT_FALSE(m_cache.CanValidate());
    InitializeWithSchema(schemaThatRequiresSettings);
    EXPECT_TRUE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, DoesWithoutASchema) {
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, DoesWithABrokenSchema) {
    for (const std::string schema : {"", "{", "{} {}", "\xFF", "no"}) {
        InitializeWithSchema(schema);
        EXPECT_FALSE(m_cache.CanValidate()) << schema;
    }
}

TEST_F(ApplicationConfigCacheTest, KeepsItsSchemaIfALaterOneIsBroken) {
    InitializeWithSchema(schemaThatRequiresSettings);
    InitializeWithSchema("{");
    EXPECT_TRUE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, CompilesTheSchemaAsItWasAtTheStart) {
    InitializeWithSchema(schemaThatRequiresSettings);
    std::filesystem::remove_all(m_folder.GetPath() / "Schemas");
    EXPECT_TRUE(m_cache.CanValidate());
    EXPECT_FALSE(m_cache.Load(std::string("{}")));
    EXPECT_EQ(GetValidationError(), "Failed to validate against schema at keyword: required");
}

TEST_F(ApplicationConfigCacheTest, CompilesTheSchemaOnlyWhereItIsAskedFor) {
    std::string parts = R"("0": {})";
    for (int part = 1; part < 15'000; ++part) {
        parts += ", \"" + std::to_string(part) + "\": {}";
    }
    // The parts take dozens of blocks even where a sanitizer has its own `new`, whose calls are not counted.
    const auto takesMemoryForTheParts = [](const auto& action) {
        const MemoryFault fault(20);
        action();
        return MemoryFault::HasOccurred();
    };
    EXPECT_FALSE(takesMemoryForTheParts([&] { InitializeWithSchema(R"({"properties": {)" + parts + "}}"); }));
    EXPECT_TRUE(takesMemoryForTheParts([&] { EXPECT_FALSE(m_cache.CanValidate()); }));
}

TEST_F(ApplicationConfigCacheTest, AnswersWhereMemoryRunsOutWhileItCompiles) {
    // In a process of its own, as the library leaks what it has taken by then.
    const std::string errors = Tovra::Tests::RunInChild([this] {
        int call = 0;
        for (bool hasFailed = true; hasFailed;) {
            InitializeWithSchema(schemaThatRequiresSettings);
            const MemoryFault fault(++call);
            EXPECT_NO_THROW(m_cache.CanValidate()) << "After " << call << " calls.";
            hasFailed = MemoryFault::HasOccurred();
        }
        EXPECT_GT(call, 3);
        EXPECT_TRUE(m_cache.CanValidate());
    });
    EXPECT_THAT(errors, ::testing::IsEmpty());
}

TEST_F(ApplicationConfigCacheTest, SurvivesAnyNestingInTheSchema) {
    InitializeWithSchema(std::string(1'000'000, '['));
    EXPECT_FALSE(m_cache.CanValidate());
    InitializeWithSchema(Nested(1'000'000));
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, DoesWithADirectoryInTheSchemasPlace) {
    std::filesystem::create_directories(m_folder.GetPath() / "Schemas/Halvorn-Configuration-2501.json");
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, WaitsForNobodyInTheSchemasPlace) {
    std::filesystem::create_directories(m_folder.GetPath() / "Schemas");
    const std::filesystem::path schema = m_folder.GetPath() / "Schemas/Halvorn-Configuration-2501.json";
    ASSERT_EQ(mkfifo(schema.c_str(), 0600), 0);
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
    std::filesystem::remove(schema);
    std::filesystem::create_symlink("/dev/zero", schema);
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, DoesWithASchemaThatIsLongerOrShorterThanItsSizeSays) {
    std::filesystem::create_directories(m_folder.GetPath() / "Schemas");
    const std::filesystem::path schema = m_folder.GetPath() / "Schemas/Halvorn-Configuration-2501.json";
    // A waiting reader, a number, which is JSON, and more than any memory; all of size 0 or without an end.
    for (const std::string target : {"/proc/kmsg", "/proc/self/oom_score_adj", "/proc/self/mem"}) {
        std::filesystem::create_symlink(target, schema);
        EXPECT_TRUE(m_cache.Initialize(nullptr));
        EXPECT_FALSE(m_cache.CanValidate()) << target;
        std::filesystem::remove(schema);
    }
    for (const off_t difference : {-1, 1}) {
        fileOperations.onStatus = [difference](struct stat& status) { status.st_size += difference; };
        InitializeWithSchema("{} ");
        EXPECT_FALSE(m_cache.CanValidate()) << difference;
    }
    fileOperations.onStatus = nullptr;
    InitializeWithSchema("{} ");
    EXPECT_TRUE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, ReadsNothingOfASchemaThatIsTooLong) {
    std::filesystem::create_directories(m_folder.GetPath() / "Schemas");
    const std::filesystem::path schema = m_folder.Write("Schemas/Halvorn-Configuration-2501.json", "{}");
    std::filesystem::resize_file(schema, std::uintmax_t{1} << 32U);
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
    EXPECT_EQ(fileOperations.readFault.calls, 0);
}

TEST_F(ApplicationConfigCacheTest, DoesWithASchemaThatAppliesItself) {
    InitializeWithSchema(R"({"$ref": "#"})");
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, CannotValidateWithoutASchemaAndLeavesTheErrorUntouched) {
    std::string error = "earlier";
    EXPECT_FALSE(m_cache.ValidateJsonConfig(JsonWrapper(), error));
    EXPECT_EQ(error, "earlier");
}

TEST_F(ApplicationConfigCacheTest, ValidatesAgainstItsSchema) {
    InitializeWithSchema(schemaThatRequiresSettings);
    std::string error;
    EXPECT_FALSE(m_cache.ValidateJsonConfig(JsonWrapper(), error));
    EXPECT_EQ(error, "Failed to validate against schema at keyword: type");
}

TEST_F(ApplicationConfigCacheTest, LoadsAFileUnvalidatedWithoutASchema) {
    EXPECT_TRUE(LoadFile(R"({"other": 1})"));
    EXPECT_EQ(GetValidationError(), "");
}

TEST_F(ApplicationConfigCacheTest, LoadsAValidFile) {
    InitializeWithSchema(schemaThatRequiresSettings);
    EXPECT_TRUE(LoadFile(MakeConfiguration("12")));
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 12);
}

TEST_F(ApplicationConfigCacheTest, KeepsNoConfigurationIfAFileIsInvalid) {
    InitializeWithSchema(schemaThatRequiresSettings);
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(LoadFile("{}"));
    EXPECT_EQ(GetValidationError(), "Failed to validate against schema at keyword: required");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, UsesNoSectionOfAFileThatIsInvalid) {
    InitializeWithSchema(R"({"required": ["what is not there"]})");
    EXPECT_FALSE(LoadFile(MakeConfiguration("12")));
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, KeepsItsConfigurationIfAFileCannotBeOpened) {
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(m_cache.Load(Path(m_folder.GetPath() / "missing.json")));
    EXPECT_EQ(GetValidationError(), "");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 12);
}

TEST_F(ApplicationConfigCacheTest, KeepsAnEmptyConfigurationIfAFileIsNoJson) {
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(LoadFile(MakeConfiguration("13") + " x"));
    EXPECT_EQ(GetValidationError(), "");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, LoadsNoDirectory) {
    EXPECT_FALSE(m_cache.Load(Path(m_folder.GetPath())));
}

TEST_F(ApplicationConfigCacheTest, ReadsAsFarAsTheFirstZeroByte) {
    const std::string text = MakeConfiguration("12") + std::string("\0x", 2);
    EXPECT_TRUE(LoadFile(text));
    EXPECT_TRUE(m_cache.Load(text));
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 12);
}

TEST_F(ApplicationConfigCacheTest, ReadsAFileOfAnyNumberOfBlocks) {
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U, 8191U, 8192U, 8193U, 20000U}) {
        const std::string head = R"({"blanks": ")";
        const std::string tail = "\", " + MakeConfiguration("12").substr(1);
        const std::string text = head + std::string(size - head.size() - tail.size(), 'x') + tail;
        EXPECT_TRUE(LoadFile(text)) << size;
        ApplicationConfigCache cache;
        EXPECT_TRUE(cache.Load(Path(m_folder.GetPath() / "file.json")));
        EXPECT_EQ(cache.AddConfig<NumberSystem>()->m_number, 12) << size;
    }
}

/// A sparse file of one TiB with this beginning, too large to be read whole.
void MakeHugeFile(const std::filesystem::path& path, const std::string& beginning) {
    std::ofstream(path) << beginning;
    std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);
}

TEST_F(ApplicationConfigCacheTest, EndsAWrongFileAtItsFirstWrongByte) {
    const std::filesystem::path path = m_folder.GetPath() / "huge.json";
    for (const std::string beginning : {"", "{", "[1, 2", "{} x"}) {
        MakeHugeFile(path, beginning);
        EXPECT_FALSE(m_cache.Load(Path(path))) << beginning;
    }
    MakeHugeFile(path, MakeConfiguration("12"));
    EXPECT_TRUE(m_cache.Load(Path(path))) << "What lies behind the first zero byte is not read.";
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 12);
    std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
    MakeHugeFile(m_folder.GetPath() / "Schemas/Halvorn-Configuration-2501.json", "");
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, LoadsAFileThatNeverEndsAsFarAsItsFirstZeroByte) {
    EXPECT_FALSE(m_cache.Load(Path("/dev/zero")));
}

TEST_F(ApplicationConfigCacheTest, DoesWithASchemaOfMoreThan256KiB) {
    const std::string schema = schemaThatRequiresSettings;
    InitializeWithSchema(schema + std::string(256 * 1024 + 1 - schema.size(), ' '));
    EXPECT_FALSE(m_cache.CanValidate());
    InitializeWithSchema(schema + std::string(256 * 1024 - schema.size(), ' '));
    EXPECT_TRUE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheTest, SurvivesAnyNestingInAFile) {
    EXPECT_FALSE(LoadFile(std::string(1'000'000, '[')));
    EXPECT_TRUE(LoadFile(MakeConfiguration(Nested(1'000'000))));
    EXPECT_EQ(m_cache.AddConfig<OtherSystem>(), m_cache.GetConfig(OtherConfig::s_typeID));
}

TEST_F(ApplicationConfigCacheTest, SurvivesAnyNestingInAText) {
    EXPECT_FALSE(m_cache.Load(std::string(1'000'000, '[')));
    EXPECT_EQ(GetValidationError(), "Failed to parse configuration json at 1000000: 'Invalid value.'.");
    InitializeWithSchema("{}");
    EXPECT_FALSE(m_cache.Load(MakeConfiguration(Nested(1'000'000))));
    EXPECT_EQ(GetValidationError(), "Failed to validate against schema");
}

TEST_F(ApplicationConfigCacheTest, KeepsNoConfigurationIfATextIsNoJson) {
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(m_cache.Load(std::string("{]")));
    EXPECT_EQ(GetValidationError(), "Failed to parse configuration json at 1: 'Missing a name for object member.'.");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, KeepsNoConfigurationIfATextIsInvalid) {
    InitializeWithSchema(schemaThatRequiresSettings);
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(m_cache.Load(std::string("{}")));
    EXPECT_EQ(GetValidationError(), "Failed to validate against schema at keyword: required");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, KeepsTheLastErrorAfterASuccess) {
    EXPECT_FALSE(m_cache.Load(std::string("")));
    EXPECT_TRUE(m_cache.Load(std::string("{}")));
    EXPECT_TRUE(LoadFile("{}"));
    EXPECT_EQ(GetValidationError(), "Failed to parse configuration json at 0: 'The document is empty.'.");
}

TEST_F(ApplicationConfigCacheTest, GivesAnEmptyTextWhereThereWasNoError) {
    std::string error = "earlier";
    EXPECT_FALSE(m_cache.TryGetValidationError(error));
    EXPECT_EQ(error, "");
}

TEST_F(ApplicationConfigCacheTest, LeavesTheErrorUntouchedWhereATextIsParsed) {
    std::string error = "earlier";
    EXPECT_NE(m_cache.ParseConfigString("{}", error), nullptr);
    EXPECT_EQ(error, "earlier");
}

TEST_F(ApplicationConfigCacheTest, TellsWhatIsWrongWithATextAndWhere) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "0: 'The document is empty.'."},
        {"{} {}", "3: 'The document root must not be followed by other values.'."},
        {"nul", "3: 'Invalid value.'."},
        {"{1}", "1: 'Missing a name for object member.'."},
        {R"({"a" 1})", "5: 'Missing a colon after a name of object member.'."},
        {R"({"a":1 2})", "7: 'Missing a comma or '}' after an object member.'."},
        {"[1 2]", "3: 'Missing a comma or ']' after an array element.'."},
        {R"(["\u12g4"])", "2: 'Incorrect hex digit after \\u escape in string.'."},
        {R"(["\uD800\u0041"])", "2: 'The surrogate pair in string is invalid.'."},
        {R"(["\x"])", "2: 'Invalid escape character in string.'."},
        {R"(["a)", "3: 'Missing a closing quotation mark in string.'."},
        {"[\"\x01\"]", "2: 'Invalid escape character in string.'."},
        {"[1e999]", "1: 'Number too big to be stored in double.'."},
        {"[1.]", "3: 'Miss fraction part in number.'."},
        {"[1e]", "3: 'Miss exponent in number.'."},
    };
    for (const auto& [text, error] : cases) {
        EXPECT_EQ(GetParseError(text), "Failed to parse configuration json at " + error) << text;
    }
}

TEST_F(ApplicationConfigCacheTest, TakesWhatTheParserThrowsForAFailedParse) {
    // Valid, but the library's exponent overflows, on which it asserts.
    const std::string text = "[0.00000000001e-2147483639]";
    const std::string error = "Failed to parse configuration json at 26: 'Unspecific syntax error.'.";
    EXPECT_EQ(GetParseError(text), error);
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_FALSE(LoadFile(text));
    EXPECT_EQ(GetValidationError(), "");
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
    EXPECT_FALSE(m_cache.Load(text));
    EXPECT_EQ(GetValidationError(), error);
    InitializeWithSchema(text);
    EXPECT_FALSE(m_cache.CanValidate());
}

TEST_F(ApplicationConfigCacheDeathTest, TakesALackOfMemoryForAFailedParse) {
    // More of them than the blocks of memory hold that the library takes at once.
    std::string elements = R"(")" + std::string(100'000, 'a') + R"(")";
    for (int index = 0; index < 20'000; ++index) {
        elements += ", [1]";
    }
    const std::string text = MakeConfiguration("[" + elements + "]");
    const auto parseWithFaults = [&] {
        int failedParses = 0;
        for (int call = 1;; ++call) {
            const MemoryFault fault(call);
            std::string error;
            try {
                const auto json = m_cache.ParseConfigString(text, error);
                if (!MemoryFault::HasOccurred()) {
                    EXPECT_NE(json, nullptr);
                    break;
                }
                ++failedParses;
                EXPECT_EQ(json, nullptr) << "After " << call << " calls.";
                EXPECT_THAT(error, ::testing::EndsWith(": 'Unspecific syntax error.'."));
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(MemoryFault::HasOccurred()) << "Not of the parser.";
            }
        }
        EXPECT_GT(failedParses, 20);
    };
    EXPECT_IN_CHILD(parseWithFaults(), "");
}

/// A valid number of random form, including extreme exponents.
std::string MakeNumber(std::mt19937& random) {
    const auto pick = [&random](unsigned end) { return static_cast<int>(random() % end); };
    const auto makeDigits = [&](int count) {
        std::string digits;
        for (; count > 0; --count) {
            digits += static_cast<char>('0' + (pick(3) == 0 ? 0 : pick(10)));
        }
        return digits;
    };
    std::string number = pick(2) == 0 ? "-" : "";
    number += pick(3) == 0 ? "0" : std::string(1, static_cast<char>('1' + pick(9))) + makeDigits(pick(30));
    if (pick(2) == 0) {
        number += "." + makeDigits(1 + pick(pick(10) == 0 ? 400 : 25));
    }
    if (pick(2) == 0) {
        const char* const signs[] = {"", "+", "-"};
        number +=
            (pick(2) == 0 ? "e" : "E") + std::string(signs[pick(3)]) + makeDigits(1 + pick(pick(5) == 0 ? 12 : 3));
    }
    return number;
}

/// Whether the exponent is one by which the library may refuse a number that a double has: that of 0e309, or one whose
/// sum with the digits behind the point overflows.
bool IsExponentTooLarge(const std::string& number) {
    const std::size_t sign = number.find_first_of("eE");
    const long long exponent = sign == std::string::npos ? 0 : std::strtoll(number.c_str() + sign + 1, nullptr, 10);
    return exponent > 308 || exponent < -2'147'483'000;
}

TEST_F(ApplicationConfigCacheTest, ReadsNumbersAsTheCLibraryDoes) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        const std::string number = MakeNumber(random);
        const double expected = std::strtod(number.c_str(), nullptr);
        std::string error;
        const auto json = m_cache.ParseConfigString(number, error);
        if (json == nullptr) {
            EXPECT_TRUE(std::isinf(expected) || IsExponentTooLarge(number)) << number << ": " << error;
            continue;
        }
        const double value = json->GetDocument()->GetDouble();
        // The library's default fast conversion is exact to three units in the last place.
        const double tolerance = std::abs(expected) * 1e-15 + 3 * std::numeric_limits<double>::denorm_min();
        EXPECT_TRUE(value == expected || std::abs(value - expected) <= tolerance)
            << number << " is read as " << value << " and not " << expected;
    }
}

TEST_F(ApplicationConfigCacheTest, FindsTheFaultsThatTheLibrarysDefaultParserFinds) {
    const std::string texts[] = {"[",   "]",    "{",        "}",      ",",       ":",       "[,",
                                 "[1,", "[1}",  "{]",       "{\"a\"", "{\"a\":", "{\"a\"}", "{\"a\":1,}",
                                 "tru", "1 1",  "{\"a\":]", "-",      "[[1 ",    "[1,]",    "{\"a\":1]",
                                 "{,",  "[01]", "\"",       "\xEF"};
    for (const std::string& text : texts) {
        rapidjson::Document document;
        document.Parse(text.c_str());
        ASSERT_TRUE(document.HasParseError()) << text;
        EXPECT_EQ(GetParseError(text), "Failed to parse configuration json at " +
                                           std::to_string(document.GetErrorOffset()) + ": '" +
                                           rapidjson::GetParseError_En(document.GetParseError()) + "'.");
    }
}

TEST_F(ApplicationConfigCacheTest, TellsParseErrorsInTheirSettledWords) {
    const char* const texts[] = {"No error.",
                                 "The document is empty.",
                                 "The document root must not be followed by other values.",
                                 "Invalid value.",
                                 "Missing a name for object member.",
                                 "Missing a colon after a name of object member.",
                                 "Missing a comma or '}' after an object member.",
                                 "Missing a comma or ']' after an array element.",
                                 "Incorrect hex digit after \\u escape in string.",
                                 "The surrogate pair in string is invalid.",
                                 "Invalid escape character in string.",
                                 "Missing a closing quotation mark in string.",
                                 "Invalid encoding in string.",
                                 "Number too big to be stored in double.",
                                 "Miss fraction part in number.",
                                 "Miss exponent in number.",
                                 "Terminate parsing due to Handler error.",
                                 "Unspecific syntax error.",
                                 "Unknown error."};
    for (std::size_t code = 0; code < std::size(texts); ++code) {
        EXPECT_STREQ(rapidjson::GetParseError_En(static_cast<rapidjson::ParseErrorCode>(code)), texts[code]);
    }
}

TEST_F(ApplicationConfigCacheTest, FindsASectionByName) {
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem", "configuration": 12})"), 12);
    EXPECT_EQ(FindNumberIn(R"({"name": "numbersystem", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem2", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"name": "Number Configuration", "configuration": 12})"), -1);
}

TEST_F(ApplicationConfigCacheTest, ComparesANameAsFarAsItsFirstZeroByte) {
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem\u0000x", "configuration": 12})"), 12);
}

TEST_F(ApplicationConfigCacheTest, ComparesKeysWithAllTheirBytes) {
    EXPECT_EQ(FindNumberIn(R"({"Name": "NumberSystem", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"name\u0000": "NumberSystem", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem", "configuration\u0000": 12})"), -1);
    EXPECT_EQ(FindNumber(R"({"settings\u0000": [{"name": "NumberSystem", "configuration": 12}]})"), -1);
    EXPECT_EQ(FindNumber(R"({"Settings": [{"name": "NumberSystem", "configuration": 12}]})"), -1);
}

TEST_F(ApplicationConfigCacheTest, FindsASectionByIdentity) {
    const std::string rest = R"("guid": "{4392DED5-2813-410E-A3BB-393A4153F1F9}", "configuration": 12})";
    EXPECT_EQ(FindNumberIn("{" + rest), 12);
    EXPECT_EQ(FindNumberIn(R"({"name": "Other", )" + rest), 12);
    EXPECT_EQ(FindNumberIn(R"({"name": 7, )" + rest), 12);
    EXPECT_EQ(FindNumberIn(R"({"guid": "4392ded5-2813-410e-a3bb-393a4153f1f9", "configuration": 12})"), 12);
}

TEST_F(ApplicationConfigCacheTest, FindsNoSectionByAnythingElse) {
    EXPECT_EQ(FindNumberIn(R"({"guid": "{4392DED5-2813-410E-A3BB-393A4153F1F8}", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"guid": "4392DED5", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"guid": 7, "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"configuration": 12})"), -1);
}

TEST_F(ApplicationConfigCacheTest, TakesTheFirstElementThatMatches) {
    EXPECT_EQ(FindNumberIn(R"({"name": "Other", "configuration": 11},
                              {"guid": "{4392DED5-2813-410E-A3BB-393A4153F1F9}", "configuration": 12},
                              {"name": "NumberSystem", "configuration": 13})"),
              12);
}

TEST_F(ApplicationConfigCacheTest, TakesTheFirstOfEqualKeys) {
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem", "name": "Other", "configuration": 12})"), 12);
    EXPECT_EQ(FindNumberIn(R"({"name": "Other", "name": "NumberSystem", "configuration": 12})"), -1);
    EXPECT_EQ(FindNumberIn(R"({"name": "NumberSystem", "configuration": 12, "configuration": 13})"), 12);
    const std::string guid = R"("guid": "{4392DED5-2813-410E-A3BB-393A4153F1F9}")";
    EXPECT_EQ(FindNumberIn("{" + guid + R"(, "guid": "", "configuration": 12})"), 12);
    EXPECT_EQ(FindNumberIn(R"({"guid": "", )" + guid + R"(, "configuration": 12})"), -1);
    const std::string settings = R"("settings": [{"name": "NumberSystem", "configuration": 12}])";
    EXPECT_EQ(FindNumber("{" + settings + R"(, "settings": []})"), 12);
    EXPECT_EQ(FindNumber(R"({"settings": [], )" + settings + "}"), -1);
}

TEST_F(ApplicationConfigCacheTest, SkipsWhatIsNoObjectWithAConfiguration) {
    EXPECT_EQ(FindNumberIn(R"(7, null, [], "text", {}, {"name": "NumberSystem"},
                              {"name": "NumberSystem", "configuration": 12})"),
              12);
}

TEST_F(ApplicationConfigCacheTest, FindsNothingWithoutSettings) {
    for (const char* const text :
         {"{}", R"({"settings": []})", R"({"settings": {}})", R"({"settings": 7})", R"({"other": []})", "[]", "null"}) {
        EXPECT_EQ(FindNumber(text), -1) << text;
    }
}

TEST_F(ApplicationConfigCacheTest, GivesASectionOfAnyType) {
    std::string error;
    const auto json = m_cache.ParseConfigString(MakeConfiguration("null"), error);
    const void* const section = m_cache.GetFileObject(*json, "NumberSystem", GUID());
    ASSERT_NE(section, nullptr);
    EXPECT_TRUE(static_cast<const rapidjson::Value*>(section)->IsNull());
}

TEST_F(ApplicationConfigCacheTest, StartsConfigurationsFromTheirDefaults) {
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, KeepsTheDefaultsWithoutASection) {
    EXPECT_TRUE(m_cache.Load(std::string(R"({"settings": [{"name": "OtherSystem", "configuration": 12}]})")));
    EXPECT_EQ(m_cache.AddConfig<NumberSystem>()->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, DoesNotReloadAConfiguration) {
    const NumberConfig* const config = m_cache.AddConfig<NumberSystem>();
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("12")));
    EXPECT_EQ(config->m_number, 7);
}

TEST_F(ApplicationConfigCacheTest, FindsConfigurationsByTheirType) {
    EXPECT_EQ(m_cache.GetConfig(NumberConfig::s_typeID), nullptr);
    const NumberConfig* const number = m_cache.AddConfig<NumberSystem>();
    const OtherConfig* const other = m_cache.AddConfig<OtherSystem>();
    EXPECT_EQ(m_cache.GetConfig(NumberConfig::s_typeID), number);
    EXPECT_EQ(m_cache.GetConfig(OtherConfig::s_typeID), other);
    EXPECT_EQ(m_cache.GetConfig(0x33333333), nullptr);
}

TEST_F(ApplicationConfigCacheTest, TellsThatASectionIsRefused) {
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("true")));
    NumberConfig config;
    EXPECT_FALSE(m_cache.InitializeConfig(config, NumberSystem::s_systemName, NumberSystem::s_systemGUID));
}

TEST_F(ApplicationConfigCacheDeathTest, EndsTheProcessIfASectionIsRefused) {
    EXPECT_TRUE(m_cache.Load(MakeConfiguration("true")));
    EXPECT_ASSERTION(m_cache.AddConfig<NumberSystem>(), "success", "Failed to initialize configuration.");
}

TEST_F(ApplicationConfigCacheDeathTest, EndsTheProcessAtASecondConfigurationOfAType) {
    m_cache.AddConfig<NumberSystem>();
    EXPECT_ASSERTION(m_cache.AddConfig<NumberSystem>(), "GetConfig(Config_Type::s_typeID) == nullptr",
                     "Config already exists.");
}

/// A cache and a logger whose lines can be read.
class ApplicationConfigCacheMessagesTest : public ::testing::Test {
protected:
    ApplicationConfigCacheMessagesTest() {
        applicationDirectoryOperations.executablePath = m_folder.GetPath() / "Tool";
        DirectoryCache::Initialize();
        EXPECT_TRUE(m_log.Initialize());
    }

    std::filesystem::path GetSchema() const { return m_folder.GetPath() / "Schemas/Halvorn-Configuration-2501.json"; }

    void WriteSchema(const std::string& text) {
        std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
        m_folder.Write("Schemas/Halvorn-Configuration-2501.json", text);
    }

    void InitializeWithSchema(const std::string& text) {
        WriteSchema(text);
        EXPECT_TRUE(m_cache.Initialize(nullptr));
    }

    const EnvironmentValue m_home{"HOME", "/home/operator"};
    const TemporaryFolder m_folder;
    TestLogger m_log;
    ApplicationConfigCache m_cache;
};

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfASchemaThatCannotBeOpened) {
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Warning: Can't open schema file: '\"" + GetSchema().string() + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfASchemaThatMayKeepWaiting) {
    std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
    std::filesystem::create_symlink("/dev/zero", GetSchema());
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Warning: Can't open schema file: '\"" + GetSchema().string() + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfASchemaThatIsNoJson) {
    InitializeWithSchema("[1 2]");
    EXPECT_THAT(
        m_log.ReadAll(),
        AreLogLines({"System] Warning: Failed to parse schema json at 3: 'Missing a comma or ']' after an array "
                     "element.'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfASchemaThatIsEmpty) {
    InitializeWithSchema("");
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Warning: Failed to parse schema json at 0: 'The document is empty.'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfASchemaThatIsTooLong) {
    InitializeWithSchema("{" + std::string(300'000, ' ') + "}");
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Warning: Can't open schema file: '\"" + GetSchema().string() + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, WarnOfWhateverIsThrownAtTheSchema) {
    WriteSchema("{");
    // An exception of an unknown type, thrown once, as reporting it logs again.
    logFileOperations.onConsole = [] {
        logFileOperations.onConsole = nullptr;
        throw 5;
    };
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Warning: Failed to load configuration schema file: '\"" +
                                              GetSchema().string() + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, AreNoneAboutASchemaThatIsCompiledOrCountsAsNone) {
    InitializeWithSchema("{}");
    EXPECT_TRUE(m_cache.CanValidate());
    InitializeWithSchema(R"({"$ref": "#"})");
    EXPECT_FALSE(m_cache.CanValidate());
    EXPECT_EQ(m_log.ReadAll(), "");
}

TEST_F(ApplicationConfigCacheMessagesTest, TellWhichFileIsLoadedAndThatNothingValidatesIt) {
    const std::string file = m_folder.Write("file.json", "{}");
    EXPECT_TRUE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Loading configuration file from '\"" + file + "\"'.",
                             "System] Warning: No configuration schema loaded, configuration might be invalid."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, TellOfAFileThatCannotBeOpened) {
    const std::string file = m_folder.GetPath() / "missing.json";
    EXPECT_FALSE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Loading configuration file from '\"" + file + "\"'.",
                                              "System] Error: Failed to open filepath '\"" + file + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, TellWhatIsWrongWithAFileAndWhere) {
    const std::string file = m_folder.Write("file.json", R"({"a":1 2})");
    EXPECT_FALSE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Loading configuration file from '\"" + file + "\"'.",
                             "System] Error: Failed to parse configuration json at 7: 'Missing a comma "
                             "or '}' after an object member.'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, TellWhereALongFileIsWrong) {
    const std::string file = m_folder.Write("file.json", R"({"a":1)" + std::string(10000, ' ') + "2}");
    EXPECT_FALSE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({"System] Loading configuration file from '\"" + file + "\"'.",
                             "System] Error: Failed to parse configuration json at 10006: 'Missing a comma "
                             "or '}' after an object member.'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, AreSilentAboutAFileThatIsInvalid) {
    InitializeWithSchema(schemaThatRequiresSettings);
    const std::string file = m_folder.Write("file.json", "{}");
    EXPECT_FALSE(m_cache.Load(Path(file)));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Loading configuration file from '\"" + file + "\"'."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, TellWhichTextIsLoadedAndThatNothingValidatesIt) {
    EXPECT_TRUE(m_cache.Load(std::string(R"({"a": "b"})")));
    EXPECT_THAT(m_log.ReadAll(),
                AreLogLines({R"(System] Loading configuration string '{"a": "b"}'.)",
                             "System] Warning: No configuration schema loaded, configuration might be invalid."}));
}

TEST_F(ApplicationConfigCacheMessagesTest, AreSilentAboutATextThatIsWrong) {
    InitializeWithSchema(schemaThatRequiresSettings);
    EXPECT_FALSE(m_cache.Load(std::string("{}")));
    EXPECT_FALSE(m_cache.Load(std::string("{")));
    EXPECT_THAT(m_log.ReadAll(), AreLogLines({"System] Loading configuration string '{}'.",
                                              "System] Loading configuration string '{'."}));
}

// Without an application every message is a failed assertion, by which a test sees that there was one.
template <class Action>
void ExpectMessage(const Action& action) {
    EXPECT_ASSERTION(action(), "s_instance != nullptr", "No application instance was created.");
}

TEST(ApplicationConfigCacheWithoutApplicationDeathTest, LogsASchemaThatIsMissingOrBroken) {
    const EnvironmentValue home("HOME", "/home/operator");
    DirectoryCache::Initialize();
    const TemporaryFolder folder;
    applicationDirectoryOperations.executablePath = folder.GetPath() / "Tool";
    const auto initialize = [] { ApplicationConfigCache().Initialize(nullptr); };
    ExpectMessage(initialize);
    std::filesystem::create_directory(folder.GetPath() / "Schemas");
    folder.Write("Schemas/Halvorn-Configuration-2501.json", "{");
    ExpectMessage(initialize);
    folder.Write("Schemas/Halvorn-Configuration-2501.json", "{}");
    initialize();
}

TEST(ApplicationConfigCacheWithoutApplicationDeathTest, LogsWhatIsLoadedAndThatNothingIsValidated) {
    ExpectMessage([] { ApplicationConfigCache().Load(Path("missing.json")); });
    ExpectMessage([] { ApplicationConfigCache().Load(std::string("{}")); });
    ExpectMessage([] {
        std::string error;
        ApplicationConfigCache().ParseConfigString("{}", error);
    });
}

TEST(ApplicationConfigCache, ReportsAFaultInATextWithoutLoggingItIfThereIsNoApplication) {
    std::string error;
    EXPECT_EQ(ApplicationConfigCache().ParseConfigString("{", error), nullptr);
    EXPECT_EQ(error, "Failed to parse configuration json at 1: 'Missing a name for object member.'.");
}

TEST_F(ApplicationConfigCacheTest, DestroysItsConfigurationsFromLastToFirst) {
    {
        ApplicationConfigCache cache;
        cache.AddConfig<NumberSystem>();
        cache.AddConfig<OtherSystem>();
    }
    EXPECT_EQ(destroyed, (std::vector<std::string>{"other", "number"}));
}

void ApplicationConfigCacheTest::InitializeWithSchema(const std::string& schema) {
    std::filesystem::create_directory(m_folder.GetPath() / "Schemas");
    m_folder.Write("Schemas/Halvorn-Configuration-2501.json", schema);
    EXPECT_TRUE(m_cache.Initialize(nullptr));
}

std::wstring ApplicationConfigCacheTest::GetUserFolder(const std::string& home) {
    m_home.Set(home);
    DirectoryCache::Initialize();
    EXPECT_TRUE(m_cache.Initialize(nullptr));
    return m_cache.GetUserFolder();
}

int ApplicationConfigCacheTest::FindNumber(const std::string& text) const {
    std::string error;
    const auto json = m_cache.ParseConfigString(text, error);
    EXPECT_NE(json, nullptr) << error;
    const void* const section = m_cache.GetFileObject(*json, NumberSystem::s_systemName, NumberSystem::s_systemGUID);
    return section != nullptr ? static_cast<const rapidjson::Value*>(section)->GetInt() : -1;
}

std::string ApplicationConfigCacheTest::GetParseError(const std::string& text) const {
    std::string error;
    EXPECT_EQ(m_cache.ParseConfigString(text, error), nullptr) << text;
    return error;
}

} // namespace
