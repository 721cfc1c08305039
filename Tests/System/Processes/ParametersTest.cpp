#include <System/Processes/Parameters.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::Processes::ParameterDescription;
using Tovra::System::Processes::Parameters;
using Tovra::System::Processes::ParseResult;

enum class Option : std::uint32_t { Flag = 1, Text = 2, Number = 3 };

/// Parses a command line, given without the program's path, for three options: a flag and two with a value.
Parameters MakeParameters(std::vector<std::string> arguments) {
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"/opt/program"});
    parameters.Add(std::move(arguments));
    parameters.AddDescription(Option::Flag, false, false, "Flag", "f", "A flag", "");
    parameters.AddDescription(Option::Text, false, true, "Text", "t", "A text", "");
    parameters.AddDescription(Option::Number, false, true, "Number", "n", "A number", "");
    return parameters;
}

ParseResult Parse(std::vector<std::string> arguments) {
    return MakeParameters(std::move(arguments)).Parse();
}

TEST(Parameters, KeepRawArgumentsInOrderOfAddition) {
    std::string first = "a";
    std::string second = "b";
    std::array<char*, 3> arguments = {first.data(), second.data(), nullptr};
    Parameters parameters;
    parameters.Add(2, arguments.data());
    first = "x";
    parameters.Add(std::vector<std::string>{"c", ""});
    EXPECT_THAT(parameters.GetArguments(), ElementsAre("a", "b", "c", ""));
    parameters.Add(2, arguments.data());
    EXPECT_THAT(parameters.GetArguments(), ElementsAre("a", "b", "c", "", "x", "b"));
}

TEST(Parameters, CountZeroAddsNothing) {
    Parameters parameters;
    parameters.Add(0, nullptr);
    EXPECT_THAT(parameters.GetArguments(), IsEmpty());
}

TEST(Parameters, SystemAddsNothingOfItsOwn) {
    Parameters parameters;
    parameters.Add();
    parameters.AddPlatform();
    EXPECT_THAT(parameters.GetArguments(), IsEmpty());
}

TEST(Parameters, DescriptionsStandInOrderOfRegistrationWithEveryField) {
    Parameters parameters;
    parameters.AddDescription(Option::Number, true, false, "Long", "s", "Words", "Default");
    parameters.AddDescription(Option::Text, false, true, "Other", "o", "", "");
    const std::vector<ParameterDescription>& descriptions = parameters.GetDescriptions();
    ASSERT_EQ(descriptions.size(), 2u);
    EXPECT_EQ(descriptions[0].m_key, 3u);
    EXPECT_TRUE(descriptions[0].m_required);
    EXPECT_FALSE(descriptions[0].m_hasValue);
    EXPECT_EQ(descriptions[0].m_name, "Long");
    EXPECT_EQ(descriptions[0].m_shortName, "s");
    EXPECT_EQ(descriptions[0].m_description, "Words");
    EXPECT_EQ(descriptions[0].m_defaultValue, "Default");
    EXPECT_EQ(descriptions[1].m_key, 2u);
    EXPECT_FALSE(descriptions[1].m_required);
    EXPECT_TRUE(descriptions[1].m_hasValue);
}

TEST(Parameters, DuplicateDescriptionsAreKept) {
    Parameters parameters;
    parameters.AddDescription(Option::Flag, false, false, "Same", "s", "First", "");
    parameters.AddDescription(Option::Flag, false, false, "Same", "s", "Second", "");
    EXPECT_EQ(parameters.GetDescriptions().size(), 2u);
    EXPECT_EQ(parameters.GetParameterDescription("Same")->m_description, "First");
}

TEST(Parameters, ProgramPathAloneIsASuccessWithoutOptions) {
    Parameters parameters = MakeParameters({});
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetCount(), 0u);
}

TEST(Parameters, NoArgumentAtAllIsASuccess) {
    Parameters parameters;
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
}

TEST(Parameters, ProgramPathIsNeverRead) {
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"-Flag"});
    parameters.AddDescription(Option::Flag, false, false, "Flag", "f", "", "");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_FALSE(parameters.Has(Option::Flag));
}

TEST(Parameters, ResultsHaveTheirNumbers) {
    EXPECT_EQ(static_cast<int>(ParseResult::Success), 1);
    EXPECT_EQ(static_cast<int>(ParseResult::MalformedArgument), 2);
    EXPECT_EQ(static_cast<int>(ParseResult::MissingValue), 3);
    EXPECT_EQ(static_cast<int>(ParseResult::UnknownArgument), 4);
}

TEST(Parameters, EitherNameIsAcceptedWithOneDashOrTwo) {
    for (const char* const argument : {"-Flag", "--Flag", "-f", "--f"}) {
        Parameters parameters = MakeParameters({argument});
        EXPECT_EQ(parameters.Parse(), ParseResult::Success) << argument;
        EXPECT_TRUE(parameters.Has(Option::Flag)) << argument;
        EXPECT_EQ(parameters.GetCount(), 1u) << argument;
    }
}

TEST(Parameters, NamesAreCaseSensitive) {
    EXPECT_EQ(Parse({"-flag"}), ParseResult::UnknownArgument);
    EXPECT_EQ(Parse({"-F"}), ParseResult::UnknownArgument);
}

TEST(Parameters, NamesAreNotAbbreviated) {
    EXPECT_EQ(Parse({"-Fla"}), ParseResult::UnknownArgument);
    EXPECT_EQ(Parse({"-Flagg"}), ParseResult::UnknownArgument);
}

TEST(Parameters, EmptyArgumentAndLoneDashesAreMalformed) {
    EXPECT_EQ(Parse({""}), ParseResult::MalformedArgument);
    EXPECT_EQ(Parse({"-"}), ParseResult::MalformedArgument);
    EXPECT_EQ(Parse({"--"}), ParseResult::MalformedArgument);
}

TEST(Parameters, LoneDashesAreMalformedEvenWhereAnOptionHasNoName) {
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"", "--"});
    parameters.AddDescription(Option::Flag, false, false, "", "", "", "");
    EXPECT_EQ(parameters.Parse(), ParseResult::MalformedArgument);
}

TEST(Parameters, ArgumentWithoutDashIsUnknown) {
    EXPECT_EQ(Parse({"x"}), ParseResult::UnknownArgument);
    EXPECT_EQ(Parse({"Flag"}), ParseResult::UnknownArgument);
}

TEST(Parameters, ThirdDashBelongsToTheName) {
    EXPECT_EQ(Parse({"---f"}), ParseResult::UnknownArgument);
    EXPECT_EQ(Parse({"---"}), ParseResult::UnknownArgument);
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"", "---f"});
    parameters.AddDescription(Option::Flag, false, false, "-f", "", "", "");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
}

TEST(Parameters, WithoutDescriptionsEveryNameIsUnknown) {
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"", "-f"});
    EXPECT_EQ(parameters.Parse(), ParseResult::UnknownArgument);
    EXPECT_EQ(parameters.GetParameterDescription("f"), nullptr);
}

TEST(Parameters, ValueIsTheArgumentBehindItsOption) {
    Parameters parameters = MakeParameters({"-t", "a b=c", "--Number", "7", "-f"});
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetValue(Option::Text), "a b=c");
    EXPECT_EQ(parameters.GetValue(Option::Number), "7");
    EXPECT_EQ(parameters.GetValue(Option::Flag), "");
    EXPECT_EQ(parameters.GetCount(), 3u);
}

TEST(Parameters, MissingEmptyOrDashedValueIsReported) {
    EXPECT_EQ(Parse({"-t"}), ParseResult::MissingValue);
    EXPECT_EQ(Parse({"-t", ""}), ParseResult::MissingValue);
    EXPECT_EQ(Parse({"-t", "-x"}), ParseResult::MissingValue);
    EXPECT_EQ(Parse({"-t", "-f"}), ParseResult::MissingValue);
    EXPECT_EQ(Parse({"-t", "-"}), ParseResult::MissingValue);
}

TEST(Parameters, WhatTheMemoryBehindTheLastArgumentHeldIsNoValue) {
    Parameters parameters = MakeParameters({"-f", "-f"});
    EXPECT_EQ(parameters.GetArguments().capacity(), 3u);
    // Most likely gets the very memory that the arguments get next.
    std::optional<std::vector<std::string>> values(std::in_place, 6, "value");
    values.reset();
    parameters.Add(std::vector<std::string>{"-t"});
    EXPECT_EQ(parameters.GetArguments().capacity(), 6u);
    EXPECT_EQ(parameters.Parse(), ParseResult::MissingValue);
    EXPECT_FALSE(parameters.Has(Option::Text));
}

TEST(Parameters, NameAndValueInOneArgumentAreUnknown) {
    EXPECT_EQ(Parse({"-t=x"}), ParseResult::UnknownArgument);
}

TEST(Parameters, ValueBehindAFlagIsUnknown) {
    EXPECT_EQ(Parse({"-f", "true"}), ParseResult::UnknownArgument);
}

TEST(Parameters, OfAnOptionGivenTwiceTheFirstValueStays) {
    Parameters parameters = MakeParameters({"-t", "first", "-Text", "second", "-f", "-f"});
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetValue(Option::Text), "first");
    EXPECT_EQ(parameters.GetCount(), 2u);
}

TEST(Parameters, OfTwoOptionsWithOneKeyTheFirstValueStays) {
    Parameters parameters = MakeParameters({"-t", "first", "-s"});
    parameters.AddDescription(Option::Text, false, false, "Same", "s", "Without a value", "");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetValue(Option::Text), "first");
}

TEST(Parameters, FailureKeepsWhatWasFoundBeforeItAndAddsNoDefault) {
    Parameters parameters = MakeParameters({"-f", "-t", "x", "-nosuch", "-n", "1"});
    parameters.AddDescription(Option{9}, false, false, "Extra", "e", "", "default");
    EXPECT_EQ(parameters.Parse(), ParseResult::UnknownArgument);
    EXPECT_TRUE(parameters.Has(Option::Flag));
    EXPECT_EQ(parameters.GetValue(Option::Text), "x");
    EXPECT_EQ(parameters.GetCount(), 2u);
}

TEST(Parameters, FailedValueLeavesItsOptionOut) {
    Parameters parameters = MakeParameters({"-t", ""});
    EXPECT_EQ(parameters.Parse(), ParseResult::MissingValue);
    EXPECT_FALSE(parameters.Has(Option::Text));
}

TEST(Parameters, DefaultsFillWhatIsAbsent) {
    Parameters parameters = MakeParameters({"-f"});
    parameters.AddDescription(Option{8}, false, true, "WithValue", "w", "", "one");
    parameters.AddDescription(Option{9}, false, false, "WithoutValue", "o", "", "two");
    EXPECT_EQ(parameters.GetCount(), 0u);
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetCount(), 3u);
    EXPECT_TRUE(parameters.HasInternal(8));
    EXPECT_EQ(parameters.GetValueInternal(8), "one");
    EXPECT_EQ(parameters.GetValueInternal(9), "two");
}

TEST(Parameters, DefaultNeverReplacesWhatWasGiven) {
    Parameters parameters;
    parameters.Add(std::vector<std::string>{"", "-w", "given", "-o"});
    parameters.AddDescription(Option{8}, false, true, "WithValue", "w", "", "one");
    parameters.AddDescription(Option{9}, false, false, "WithoutValue", "o", "", "two");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetValueInternal(8), "given");
    EXPECT_EQ(parameters.GetValueInternal(9), "");
}

TEST(Parameters, OfTwoDefaultsForOneKeyTheFirstStays) {
    Parameters parameters;
    parameters.AddDescription(Option{8}, false, false, "A", "a", "", "one");
    parameters.AddDescription(Option{8}, false, false, "B", "b", "", "two");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_EQ(parameters.GetValueInternal(8), "one");
}

TEST(Parameters, AreValidIfNothingIsRequired) {
    EXPECT_TRUE(Parameters{}.IsValid());
    EXPECT_TRUE(MakeParameters({}).IsValid());
}

TEST(Parameters, AreInvalidWithoutARequiredOption) {
    Parameters parameters = MakeParameters({"-r"});
    parameters.AddDescription(Option{9}, true, false, "Required", "r", "", "");
    EXPECT_FALSE(parameters.IsValid());
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_TRUE(parameters.IsValid());
}

TEST(Parameters, DefaultSatisfiesARequirement) {
    Parameters parameters = MakeParameters({});
    parameters.AddDescription(Option{9}, true, true, "Required", "r", "", "default");
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_TRUE(parameters.IsValid());
}

TEST(Parameters, LongNameOfAnEarlierDescriptionWinsOverAShortOne) {
    Parameters parameters;
    parameters.AddDescription(Option::Flag, false, false, "x", "f", "", "");
    parameters.AddDescription(Option::Text, false, false, "Text", "x", "", "");
    EXPECT_EQ(parameters.GetParameterDescription("x"), &parameters.GetDescriptions()[0]);
}

TEST(Parameters, ShortNameOfAnEarlierDescriptionWinsOverALongOne) {
    Parameters parameters;
    parameters.AddDescription(Option::Text, false, false, "Text", "x", "", "");
    parameters.AddDescription(Option::Flag, false, false, "x", "f", "", "");
    EXPECT_EQ(parameters.GetParameterDescription("x"), &parameters.GetDescriptions()[0]);
}

TEST(Parameters, DescriptionIsFoundByNameWithoutDashes) {
    const Parameters parameters = MakeParameters({});
    EXPECT_EQ(parameters.GetParameterDescription("Number")->m_key, 3u);
    EXPECT_EQ(parameters.GetParameterDescription("n")->m_key, 3u);
    EXPECT_EQ(parameters.GetParameterDescription("-n"), nullptr);
    EXPECT_EQ(parameters.GetParameterDescription(""), nullptr);
}

TEST(Parameters, AbsentOptionIsNotEnabled) {
    EXPECT_FALSE(MakeParameters({}).IsEnabled(Option::Flag));
}

TEST(Parameters, OptionWithoutValueIsEnabled) {
    Parameters parameters = MakeParameters({"-f"});
    EXPECT_EQ(parameters.Parse(), ParseResult::Success);
    EXPECT_TRUE(parameters.IsEnabled(Option::Flag));
    EXPECT_TRUE(parameters.IsEnabledInternal(1));
}

TEST(Parameters, FirstLetterOfTheValueEnables) {
    const std::pair<const char*, bool> cases[] = {{"true", true},   {"True", true}, {"T", true},     {"tomato", true},
                                                  {"false", false}, {"1", false},   {"yes", false},  {" true", false},
                                                  {"on", false},    {"F", false},   {"\xFEx", false}};
    for (const auto& [value, isEnabled] : cases) {
        Parameters parameters = MakeParameters({"-t", value});
        EXPECT_EQ(parameters.Parse(), ParseResult::Success) << value;
        EXPECT_EQ(parameters.IsEnabled(Option::Text), isEnabled) << value;
    }
}

TEST(Parameters, AbsentValueIsAlwaysTheSameEmptyText) {
    const Parameters first;
    const Parameters second;
    EXPECT_EQ(first.GetValueInternal(1), "");
    EXPECT_EQ(&first.GetValueInternal(1), &first.GetValueInternal(2));
    EXPECT_EQ(&first.GetValue(Option::Flag), &second.GetValue(Option::Flag));
}

} // namespace
