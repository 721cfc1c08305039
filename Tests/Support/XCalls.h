#pragma once

#include <System/X11/X11_Linux.h>

#include <string>

namespace Tovra::Tests {

/// The calls that `RecordCalls` has recorded, a letter each.
inline std::string recordedCalls;

/// Records calls of a function of XCB from now on, with that letter. It stays replaced, so this is for a child process,
/// which must not do it twice for one function.
template <auto function, char letter>
void RecordCalls(System::X11::Connection& x11) {
    []<class Result, class... Arguments>(System::X11::XcbCall<Result (*)(Arguments...)>& call) {
        static const auto s_function = call;
        call = +[](Arguments... arguments) -> Result {
            recordedCalls += letter;
            return s_function(arguments...);
        };
    }(x11.*function);
}

/// The connection, whose requests about windows are recorded, and, as capitals, the waits for their replies: `a` for
/// attributes, `c` for children, `f` for the focus, `g` for the size, `p` for a property, `r` for the process ids of
/// clients, `t` for the place.
inline System::X11::Connection& GetRecordedConnection() {
    using System::X11::Connection;
    Connection& x11 = *System::X11::GetConnection();
    // Asked for once.
    x11.GetAtoms();
    x11.GetReportedProcessIds();
    RecordCalls<&Connection::xcb_get_window_attributes, 'a'>(x11);
    RecordCalls<&Connection::xcb_get_window_attributes_reply, 'A'>(x11);
    RecordCalls<&Connection::xcb_query_tree, 'c'>(x11);
    RecordCalls<&Connection::xcb_query_tree_reply, 'C'>(x11);
    RecordCalls<&Connection::xcb_get_input_focus, 'f'>(x11);
    RecordCalls<&Connection::xcb_get_input_focus_reply, 'F'>(x11);
    RecordCalls<&Connection::xcb_get_geometry, 'g'>(x11);
    RecordCalls<&Connection::xcb_get_geometry_reply, 'G'>(x11);
    RecordCalls<&Connection::xcb_get_property, 'p'>(x11);
    RecordCalls<&Connection::xcb_get_property_reply, 'P'>(x11);
    RecordCalls<&Connection::xcb_res_query_client_ids, 'r'>(x11);
    RecordCalls<&Connection::xcb_res_query_client_ids_reply, 'R'>(x11);
    RecordCalls<&Connection::xcb_translate_coordinates, 't'>(x11);
    RecordCalls<&Connection::xcb_translate_coordinates_reply, 'T'>(x11);
    return x11;
}

} // namespace Tovra::Tests
