#pragma once

#include <Support/XServer.h>
#include <System/X11/X11_Linux.h>

#include <Fuzz/Input.h>

#include <cstdlib>

namespace Tovra::Tests::Fuzz {

/// The process's connection to a private X server, of which a target replaces the functions that it answers itself. The
/// server ends with the process.
inline System::X11::Connection& GetXConnection() {
    static System::X11::Connection& s_connection = *[] {
        static const XServer& s_server = *new XServer({"-screen", "0", "640x480x24"});
        setenv("DISPLAY", s_server.GetDisplayName().c_str(), 1);
        System::X11::Connection* const connection = System::X11::GetConnection();
        Expect(connection != nullptr && connection->xcb != nullptr, "there is an X server");
        return connection;
    }();
    return s_connection;
}

} // namespace Tovra::Tests::Fuzz
