// Label: threaded

#include <Support/InChild.h>
#include <Support/ReplacedLibraryFunctions.h>
#include <Support/XServerFixture.h>
#include <System/X11/X11_Linux.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;

using ::testing::IsEmpty;
using X11::Connection;
using X11::ReportedProcessIds;

/// A version of an extension, major and minor; nothing for a server that does not reply.
using Version = std::optional<std::pair<std::uint16_t, std::uint16_t>>;

Version s_version;

/// A reply that names `s_version`.
template <auto major, auto minor, class Reply, class Cookie>
Reply* GetVersionReply(xcb_connection_t*, Cookie, xcb_generic_error_t**) {
    if (!s_version) {
        return nullptr;
    }
    auto* const reply = static_cast<Reply*>(std::calloc(1, sizeof(Reply)));
    reply->*major = s_version->first;
    reply->*minor = s_version->second;
    return reply;
}

class ExtensionsTest : public XServerFixture {
protected:
    /// Expects that the connection to a server that names that version has that value.
    template <class F, class Value>
    void ExpectWith(const Version& version, F get, Value value) {
        const auto ask = [&] {
            s_version = version;
            using Randr = xcb_randr_query_version_reply_t;
            ReplaceLibraryFunction("xcb_randr_query_version_reply",
                                   &GetVersionReply<&Randr::major_version, &Randr::minor_version, Randr,
                                                    xcb_randr_query_version_cookie_t>);
            using Fixes = xcb_xfixes_query_version_reply_t;
            ReplaceLibraryFunction("xcb_xfixes_query_version_reply",
                                   &GetVersionReply<&Fixes::major_version, &Fixes::minor_version, Fixes,
                                                    xcb_xfixes_query_version_cookie_t>);
            using Resource = xcb_res_query_version_reply_t;
            ReplaceLibraryFunction("xcb_res_query_version_reply",
                                   &GetVersionReply<&Resource::server_major, &Resource::server_minor, Resource,
                                                    xcb_res_query_version_cookie_t>);
            EXPECT_EQ(get(*X11::GetConnection()), value);
        };
        SCOPED_TRACE(version ? std::to_string(version->first) + '.' + std::to_string(version->second) : "none");
        EXPECT_IN_CHILD(ask(), IsEmpty());
    }
};

bool HasRandr(Connection& x11) {
    return x11.HasRandr();
}

bool HasCursorHiding(Connection& x11) {
    return x11.HasCursorHiding();
}

ReportedProcessIds GetReportedProcessIds(Connection& x11) {
    return x11.GetReportedProcessIds();
}

} // namespace

TEST_F(ExtensionsTest, ListDisplaysFromRandr13On) {
    ExpectWith(std::pair(1, 3), HasRandr, true);
    ExpectWith(std::pair(2, 0), HasRandr, true);
    ExpectWith(std::pair(1, 2), HasRandr, false);
    ExpectWith(std::pair(0, 9), HasRandr, false);
    ExpectWith(std::nullopt, HasRandr, false);
}

TEST_F(ExtensionsTest, HideTheCursorFromXFixes4On) {
    ExpectWith(std::pair(4, 0), HasCursorHiding, true);
    ExpectWith(std::pair(5, 0), HasCursorHiding, true);
    ExpectWith(std::pair(3, 9), HasCursorHiding, false);
    ExpectWith(std::nullopt, HasCursorHiding, false);
}

TEST_F(ExtensionsTest, ReportProcessIdsFromTheResourceExtension12On) {
    ExpectWith(std::pair(1, 2), GetReportedProcessIds, ReportedProcessIds::Ours);
    ExpectWith(std::pair(2, 0), GetReportedProcessIds, ReportedProcessIds::Ours);
    ExpectWith(std::pair(1, 1), GetReportedProcessIds, ReportedProcessIds::Missing);
    ExpectWith(std::pair(0, 9), GetReportedProcessIds, ReportedProcessIds::Missing);
    ExpectWith(std::nullopt, GetReportedProcessIds, ReportedProcessIds::Missing);
}

TEST_F(ExtensionsTest, ReportNoProcessIdsWhereTheServerCanNotSeeThisProcess) {
    const auto ask = [] {
        ReplaceLibraryFunction(
            "xcb_res_query_client_ids_reply",
            +[](xcb_connection_t*, xcb_res_query_client_ids_cookie_t,
                xcb_generic_error_t**) -> xcb_res_query_client_ids_reply_t* { return nullptr; });
        EXPECT_EQ(X11::GetConnection()->GetReportedProcessIds(), ReportedProcessIds::Missing);
    };
    EXPECT_IN_CHILD(ask(), IsEmpty());
}

TEST_F(ExtensionsTest, AreToldThatThisClientKnowsRandr15) {
    const auto ask = [] {
        static std::pair<std::uint32_t, std::uint32_t> s_known;
        ReplaceLibraryFunction(
            "xcb_randr_query_version",
            +[](xcb_connection_t*, std::uint32_t major, std::uint32_t minor) -> xcb_randr_query_version_cookie_t {
                s_known = {major, minor};
                return {};
            });
        ReplaceLibraryFunction(
            "xcb_randr_query_version_reply",
            +[](xcb_connection_t*, xcb_randr_query_version_cookie_t,
                xcb_generic_error_t**) -> xcb_randr_query_version_reply_t* { return nullptr; });
        EXPECT_FALSE(X11::GetConnection()->HasRandr());
        EXPECT_EQ(s_known, std::pair(1U, 5U));
    };
    EXPECT_IN_CHILD(ask(), IsEmpty());
}

// A request would end the connection.
TEST_F(ExtensionsTest, AreNotUsedWhereTheServerLacksThem) {
    const auto ask = [] {
        Connection& x11 = *X11::GetConnection();
        x11.xcb_get_extension_data = +[](xcb_connection_t*, xcb_extension_t*) -> const xcb_query_extension_reply_t* {
            static constexpr xcb_query_extension_reply_t s_absent{};
            return &s_absent;
        };
        EXPECT_FALSE(x11.HasRandr());
        EXPECT_FALSE(x11.HasCursorHiding());
        EXPECT_EQ(x11.GetReportedProcessIds(), ReportedProcessIds::Missing);
    };
    EXPECT_IN_CHILD(ask(), IsEmpty());
}

} // namespace Tovra::Tests
