#pragma once

#include <System/X11/X11_Linux.h>

namespace Tovra::Tests {

/// Waits until the X server has carried out this process's requests; false if there is no connection, before or after.
inline bool SyncX11() {
    System::X11::Connection* const x11 = System::X11::GetConnection();
    return x11 != nullptr && x11->Sync();
}

} // namespace Tovra::Tests
