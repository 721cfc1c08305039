#pragma once

#include <Support/XServer.h>

namespace Tovra::Tests {

/// A running window manager (openbox) on a server; ended by the destructor.
class WindowManager {
public:
    explicit WindowManager(const XServer& server);

    void Signal(int signal) const { m_program.Signal(signal); }

private:
    RunningProgram m_program;
};

} // namespace Tovra::Tests
