#pragma once

#include <System/X11/X11_Linux.h>

namespace Tovra::Tests {

/// Replaces a function that waits for a reply by one that calls `change(*reply)` for each reply of the server. It stays
/// replaced, so this is for a child process, which must not do it twice for one function.
template <auto wait, class Change>
void ChangeReplies(System::X11::Connection& x11, const Change& change) {
    [&change]<class Reply, class Cookie>(
        System::X11::XcbCall<Reply* (*)(xcb_connection_t*, Cookie, xcb_generic_error_t**)>& function) {
        static const auto s_wait = function;
        static const Change s_change = change;
        Reply* (*const changed)(xcb_connection_t*, Cookie, xcb_generic_error_t**) =
            [](xcb_connection_t* connection, Cookie cookie, xcb_generic_error_t** error) {
                Reply* const reply = s_wait(connection, cookie, error);
                if (reply != nullptr) {
                    s_change(*reply);
                }
                return reply;
            };
        function = changed;
    }(x11.*wait);
}

} // namespace Tovra::Tests
