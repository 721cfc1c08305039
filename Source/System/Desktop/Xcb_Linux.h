#pragma once

// An internal header of the Linux host: X11's XCB, for work that asks the server many things at once.
//
// Each question would cost a round trip to the server through Xlib. XCB sends all of them, on Xlib's own connection,
// before the first answer is waited for, so that a batch is one round trip. A question that was refused, as for a
// window that is gone, or that the server's end left open is answered with nothing; it ends no process. All this is
// used outside of `X11::Run`, as it holds destructors. A server that is stopped makes it wait, as it makes Xlib.

#include <X11/Xlib-xcb.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <type_traits>
#include <unordered_map>

namespace Tovra::System::Desktop::Xcb {

/// The functions that are called, each with the library that holds it: the one table that makes the members and their
/// loading. Those of an extension have tables of their own, as a machine may lack it alone.
#define TOVRA_XCB_FUNCTIONS(FUNCTION)                                                                                  \
    FUNCTION(x11Xcb, XGetXCBConnection)                                                                                \
    FUNCTION(xcb, xcb_configure_window_checked)                                                                        \
    FUNCTION(xcb, xcb_connection_has_error)                                                                            \
    FUNCTION(xcb, xcb_get_extension_data)                                                                              \
    FUNCTION(xcb, xcb_get_geometry)                                                                                    \
    FUNCTION(xcb, xcb_get_geometry_reply)                                                                              \
    FUNCTION(xcb, xcb_get_input_focus)                                                                                 \
    FUNCTION(xcb, xcb_get_input_focus_reply)                                                                           \
    FUNCTION(xcb, xcb_get_property)                                                                                    \
    FUNCTION(xcb, xcb_get_property_reply)                                                                              \
    FUNCTION(xcb, xcb_get_setup)                                                                                       \
    FUNCTION(xcb, xcb_get_window_attributes)                                                                           \
    FUNCTION(xcb, xcb_get_window_attributes_reply)                                                                     \
    FUNCTION(xcb, xcb_intern_atom)                                                                                     \
    FUNCTION(xcb, xcb_intern_atom_reply)                                                                               \
    FUNCTION(xcb, xcb_query_tree)                                                                                      \
    FUNCTION(xcb, xcb_query_tree_reply)                                                                                \
    FUNCTION(xcb, xcb_request_check)                                                                                   \
    FUNCTION(xcb, xcb_send_event_checked)                                                                              \
    FUNCTION(xcb, xcb_set_input_focus_checked)                                                                         \
    FUNCTION(xcb, xcb_translate_coordinates)                                                                           \
    FUNCTION(xcb, xcb_translate_coordinates_reply)

/// The same for the X resource extension.
#define TOVRA_XCB_RESOURCE_FUNCTIONS(FUNCTION)                                                                         \
    FUNCTION(xcbRes, xcb_res_client_id_value_next)                                                                     \
    FUNCTION(xcbRes, xcb_res_client_id_value_value)                                                                    \
    FUNCTION(xcbRes, xcb_res_client_id_value_value_length)                                                             \
    FUNCTION(xcbRes, xcb_res_id)                                                                                       \
    FUNCTION(xcbRes, xcb_res_query_client_ids)                                                                         \
    FUNCTION(xcbRes, xcb_res_query_client_ids_ids_iterator)                                                            \
    FUNCTION(xcbRes, xcb_res_query_client_ids_reply)                                                                   \
    FUNCTION(xcbRes, xcb_res_query_version)                                                                            \
    FUNCTION(xcbRes, xcb_res_query_version_reply)

/// The same for RandR.
#define TOVRA_XCB_RANDR_FUNCTIONS(FUNCTION)                                                                            \
    FUNCTION(xcbRandr, xcb_randr_get_crtc_info)                                                                        \
    FUNCTION(xcbRandr, xcb_randr_get_crtc_info_reply)                                                                  \
    FUNCTION(xcbRandr, xcb_randr_get_output_info)                                                                      \
    FUNCTION(xcbRandr, xcb_randr_get_output_info_modes)                                                                \
    FUNCTION(xcbRandr, xcb_randr_get_output_info_reply)                                                                \
    FUNCTION(xcbRandr, xcb_randr_get_output_primary)                                                                   \
    FUNCTION(xcbRandr, xcb_randr_get_output_primary_reply)                                                             \
    FUNCTION(xcbRandr, xcb_randr_get_screen_resources_current)                                                         \
    FUNCTION(xcbRandr, xcb_randr_get_screen_resources_current_crtcs)                                                   \
    FUNCTION(xcbRandr, xcb_randr_get_screen_resources_current_modes)                                                   \
    FUNCTION(xcbRandr, xcb_randr_get_screen_resources_current_outputs)                                                 \
    FUNCTION(xcbRandr, xcb_randr_get_screen_resources_current_reply)                                                   \
    FUNCTION(xcbRandr, xcb_randr_id)                                                                                   \
    FUNCTION(xcbRandr, xcb_randr_query_version)                                                                        \
    FUNCTION(xcbRandr, xcb_randr_query_version_reply)                                                                  \
    FUNCTION(xcbRandr, xcb_randr_select_input_checked)

/// The same for XFixes.
#define TOVRA_XCB_XFIXES_FUNCTIONS(FUNCTION)                                                                           \
    FUNCTION(xcbXfixes, xcb_xfixes_hide_cursor_checked)                                                                \
    FUNCTION(xcbXfixes, xcb_xfixes_id)                                                                                 \
    FUNCTION(xcbXfixes, xcb_xfixes_query_version)                                                                      \
    FUNCTION(xcbXfixes, xcb_xfixes_query_version_reply)                                                                \
    FUNCTION(xcbXfixes, xcb_xfixes_show_cursor_checked)

/// The XCB libraries as they were found at run time. They are never linked, since a machine may lack them.
struct Functions {
#define TOVRA_XCB_MEMBER(library, name) decltype(&::name) name;
    TOVRA_XCB_FUNCTIONS(TOVRA_XCB_MEMBER)
    TOVRA_XCB_RESOURCE_FUNCTIONS(TOVRA_XCB_MEMBER)
    TOVRA_XCB_RANDR_FUNCTIONS(TOVRA_XCB_MEMBER)
    TOVRA_XCB_XFIXES_FUNCTIONS(TOVRA_XCB_MEMBER)
#undef TOVRA_XCB_MEMBER
};

/// The loaded functions; call them only within an open `Session`.
const Functions& GetFunctions();

/// The server that this process is connected to.
struct Server {
    xcb_connection_t* connection = nullptr; ///< Null if there is none or XCB is missing.
    xcb_window_t root = XCB_WINDOW_NONE;    ///< Of the default screen.
};

/// Whose numbers the server tells as those of the processes behind connections.
enum class ToldProcesses {
    Nothing, ///< It tells none: it lacks the X resource extension in a version (1.2) that does, or can't tell our own.
    Ours,    ///< It knows this process by the number that it has here.
    Others,  ///< It runs on another machine or in another process namespace, or a forwarder stands between.
};

/// Two round trips at the first call. Any thread.
ToldProcesses GetToldProcesses(const Server& server);

/// Whether the server has RandR in a version (1.3) that tells what is there without looking for new monitors. Two round
/// trips at the first call. Any thread.
bool TellsDisplays(const Server& server);

/// Whether the server has XFixes in a version (4) that hides the pointer and shows it again. Two round trips at the
/// first call. Any thread.
bool HidesCursor(const Server& server);

/// A stretch of work with the server. At its end a connection that was lost meanwhile becomes known to all. Any thread.
class Session {
public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The server, or null if there is none: then nothing is to be asked.
    const Server* GetServer() const { return m_server; }

private:
    const Server* m_server;
};

struct ReplyDeleter {
    void operator()(void* reply) const { std::free(reply); }
};

/// What the server has answered, or null.
template <class T>
using Reply = std::unique_ptr<T, ReplyDeleter>;

template <class Result, class... Arguments>
Result GetResultOf(Result (*)(Arguments...));

/// A question that is on its way, made of the functions that ask it and that take its answer. `Take` waits for the
/// answer, once: null if there is none.
template <auto ask, auto take>
class Question {
public:
    template <class... Arguments>
    explicit Question(const Server& server, Arguments... arguments)
        : m_connection(server.connection), m_cookie((GetFunctions().*ask)(m_connection, arguments...)) {}

    auto Take() const {
        auto* const reply = (GetFunctions().*take)(m_connection, m_cookie, nullptr);
        return Reply<std::remove_pointer_t<decltype(reply)>>(reply);
    }

private:
    xcb_connection_t* m_connection;
    decltype(GetResultOf(GetFunctions().*ask)) m_cookie;
};

/// Whether the connection stands, as far as XCB knows. No round trip.
bool IsConnected(const Server& server);

/// Whether the server carried out a request that has no answer: one round trip.
bool IsDone(const Server& server, xcb_void_cookie_t cookie);

/// The processes that connections belong to, by the bits of their windows' numbers. 0 stands for a process that the
/// server can't see.
using ProcessNumbers = std::unordered_map<std::uint32_t, std::uint32_t>;

/// The bits of a number that tell the connection which made what it names.
std::uint32_t GetConnectionBits(const Server& server, std::uint32_t number);

/// Whether this process's own connection made what the number names.
bool IsOwn(const Server& server, std::uint32_t number);

/// The processes behind the connections that made windows: one request, however many there are. Only where the server
/// has the X resource extension.
class ProcessesQuestion {
public:
    ProcessesQuestion(const Server& server, std::span<const std::uint32_t> numbers);

    /// Connections from other machines, and those that are gone, are left out.
    ProcessNumbers Take() const;

private:
    using ClientIdsQuestion =
        Question<&Functions::xcb_res_query_client_ids, &Functions::xcb_res_query_client_ids_reply>;

    static ClientIdsQuestion Ask(const Server& server, std::span<const std::uint32_t> numbers);

    const Server& m_server;
    ClientIdsQuestion m_question;
};

using GeometryQuestion = Question<&Functions::xcb_get_geometry, &Functions::xcb_get_geometry_reply>;

} // namespace Tovra::System::Desktop::Xcb
