#pragma once

#include <System/X11/X11_Linux.h>

namespace Tovra::Tests {

/// Waits until the X server has carried out this process's requests; false if there is no connection, before or after.
inline bool SyncX11() {
    System::X11::Connection* const x11 = System::X11::GetConnection();
    return x11 != nullptr && x11->Sync();
}

/// Makes a request that the server refuses: "Exception: BadWindow …". Needs a connection.
inline void MakeRefusedRequest() {
    System::X11::Connection* const x11 = System::X11::GetConnection();
    x11->XDestroyWindow(x11->display, 1);
    x11->Sync();
}

} // namespace Tovra::Tests
