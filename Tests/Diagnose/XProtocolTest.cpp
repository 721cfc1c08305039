#include <XProtocol.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;
using namespace std::string_literals;

// Family, address, number, name and data.
const std::string entryOfHost = "\x01\x00\0\x04here\0\x01"
                                "7\0\x12MIT-MAGIC-COOKIE-1\0\2ab"s;
const std::string entryOfAny = "\xFF\xFF\0\0\0\0\0\x12MIT-MAGIC-COOKIE-1\0\x02yz"s;
const std::string entryOfOtherKind = "\xFF\xFF\0\0\0\0\0\x03XDM\0\x02zz"s;

TEST(XProtocol, ReadsAnAuthorityFileUpToTheFirstBrokenEntry) {
    const auto entries = ParseAuthorities(entryOfHost + entryOfAny.substr(0, entryOfAny.size() - 1));
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].family, localFamily);
    EXPECT_EQ(entries[0].address, "here");
    EXPECT_EQ(entries[0].number, "7");
    EXPECT_EQ(entries[0].name, "MIT-MAGIC-COOKIE-1");
    EXPECT_EQ(entries[0].data, "ab");
    EXPECT_EQ(ParseAuthorities(entryOfHost + entryOfAny).size(), 2U);
    EXPECT_TRUE(ParseAuthorities("").empty());
    EXPECT_TRUE(ParseAuthorities("\1").empty());
}

TEST(XProtocol, FindsTheFirstEntryOfTheServer) {
    const auto entries = ParseAuthorities(entryOfOtherKind + entryOfHost);
    const Authority* const found = FindAuthority(entries, localFamily, "here", "7");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->data, "ab");
    EXPECT_EQ(FindAuthority(entries, localFamily, "there", "7"), nullptr);
    EXPECT_EQ(FindAuthority(entries, localFamily, "here", "8"), nullptr);
    EXPECT_EQ(FindAuthority(entries, internetFamily, "here", "7"), nullptr);
    EXPECT_NE(FindAuthority(ParseAuthorities(entryOfAny), internetFamily, "\x7F\0\0\x02"s, "8"), nullptr);
}

TEST(XProtocol, AsksWithAndWithoutAnAuthority) {
    EXPECT_EQ(ComposeSetup(nullptr), "l\0\x0B\0\0\0\0\0\0\0\0\0"s);
    const auto entries = ParseAuthorities(entryOfHost);
    EXPECT_EQ(ComposeSetup(entries.data()), "l\0\x0B\0\0\0\x12\0\x02\0\0\0MIT-MAGIC-COOKIE-1\0\0ab\0\0"s);
}

TEST(XProtocol, KnowsTheSizeOfAReply) {
    EXPECT_EQ(GetSetupReplySize("\1\0\x0B\0\0\0\2"s), std::nullopt);
    EXPECT_EQ(GetSetupReplySize("\1\0\x0B\0\0\0\2\1"s), 8U + 4U * 258U);
}

void ExpectOutcome(Contact contact, const std::string& reply, bool hasAuthority, const std::string& outcome,
                   const std::optional<std::string>& reason = {}) {
    const SetupResult result = JudgeSetup(contact, reply, hasAuthority);
    EXPECT_EQ(result.outcome, outcome);
    EXPECT_EQ(result.reason, reason);
}

TEST(XProtocol, JudgesWithoutAReply) {
    ExpectOutcome(Contact::NoName, "", false, "NoDisplay");
    ExpectOutcome(Contact::MalformedName, "", false, "MalformedName");
    ExpectOutcome(Contact::HostNotFound, "", false, "HostNotFound");
    ExpectOutcome(Contact::LookupTimeout, "", false, "TimedOut");
    ExpectOutcome(Contact::NoServer, "", false, "NoServer");
    ExpectOutcome(Contact::NotAllowed, "", false, "NotAllowed");
    ExpectOutcome(Contact::Silent, "", false, "Silent");
    ExpectOutcome(Contact::Silent, "\1", false, "Silent");
    ExpectOutcome(Contact::Closed, "", true, "Closed");
}

TEST(XProtocol, JudgesAReply) {
    ExpectOutcome(Contact::Answered, "\1\0\x0B\0\0\0\0\0"s, false, "Accepted");
    const std::string refusal = "\0\x04\x0B\0\0\0\2\0No.\nxyz."s;
    ExpectOutcome(Contact::Answered, refusal, false, "Refused", "No.");
    ExpectOutcome(Contact::Answered, refusal, true, "Refused", "No.");
    for (const Contact contact : {Contact::Answered, Contact::Silent, Contact::Closed}) {
        ExpectOutcome(contact, "HTTP/1.1 400", false, "NotAnXServer");
        ExpectOutcome(contact, "\3\0\0\0\0\0\0\0"s, false, "NotAnXServer");
        ExpectOutcome(contact, "\xFF", false, "NotAnXServer");
    }
    ExpectOutcome(Contact::Answered, "\1", false, "NotAnXServer");
}

TEST(XProtocol, AnAuthorityIsMissingOnlyWhereTheServerAsksForOne) {
    const std::string authenticate = "\2\0\0\0\0\0\2\0More, please"s;
    ExpectOutcome(Contact::Answered, authenticate, false, "NoAuthority", "More, please");
    ExpectOutcome(Contact::Answered, authenticate, true, "Refused", "More, please");
    const auto refuse = [](const std::string& reason, bool hasAuthority, const std::string& outcome) {
        const std::string reply = '\0' + std::string(1, static_cast<char>(reason.size())) + "\x0B\0\0\0\0\0"s + reason;
        ExpectOutcome(Contact::Answered, reply, hasAuthority, outcome, reason);
    };
    refuse("Authorization required, but no authorization protocol specified", false, "NoAuthority");
    refuse("Client is not authorized to connect to Server", false, "NoAuthority");
    refuse("No protocol specified", false, "NoAuthority");
    refuse("Maximum number of clients reached", false, "Refused");
    refuse("Protocol version mismatch", false, "Refused");
    refuse("", false, "Refused");
    refuse("Authorization protocol not supported by server", true, "Refused");
    refuse("Maximum number of clients reached", true, "Refused");
}

TEST(XProtocol, JudgesWhyAConnectFailed) {
    for (const int error : {EINPROGRESS, EAGAIN, ETIMEDOUT}) {
        EXPECT_EQ(JudgeConnectError(error), Contact::Silent) << error;
    }
    EXPECT_EQ(JudgeConnectError(EACCES), Contact::NotAllowed);
    EXPECT_EQ(JudgeConnectError(EPERM), Contact::NotAllowed);
    for (const int error : {ECONNREFUSED, ENOENT, EHOSTUNREACH, ENETUNREACH, ENAMETOOLONG, EMFILE}) {
        EXPECT_EQ(JudgeConnectError(error), Contact::NoServer) << error;
    }
}

using Bytes = std::vector<std::uint8_t>;

TEST(XProtocol, AsksExtensionsForTheirVersions) {
    EXPECT_EQ(ComposeVersionRequest(versionQueries[0]), (Bytes{0, 0, 0, 0, 1, 0, 0, 0, 6, 0, 0, 0}));
    EXPECT_EQ(ComposeVersionRequest(versionQueries[1]), (Bytes{0, 0, 0, 0, 2, 0, 2, 0}));
    EXPECT_EQ(ComposeVersionRequest(versionQueries[2]), (Bytes{0, 0, 0, 0, 1, 2, 0, 0}));
    EXPECT_EQ(ComposeVersionRequest(versionQueries[5]), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(ComposeVersionRequest(versionQueries[6]), (Bytes{0, 7, 0, 0, 1, 0, 0, 0, 4, 0, 0, 0}));
}

TEST(XProtocol, ReadsVersions) {
    const Bytes reply{1, 2, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0};
    EXPECT_EQ(ReadVersion(versionQueries[0], reply), "3.4");
    EXPECT_EQ(ReadVersion(versionQueries[1], reply), "2.3");
    EXPECT_EQ(ReadVersion(versionQueries[2], reply), "3.0");
    EXPECT_EQ(ReadVersion(versionQueries[5], reply), "3.0");
    EXPECT_EQ(ReadVersion(versionQueries[7], reply), std::nullopt);
    EXPECT_EQ(ReadVersion(versionQueries[0], Bytes(15)), std::nullopt);
    EXPECT_EQ(ReadVersion(versionQueries[1], Bytes(9)), std::nullopt);
    EXPECT_EQ(ReadVersion(versionQueries[0], Bytes()), std::nullopt);
}

} // namespace

} // namespace Tovra::Tests
