#pragma once

#include <Support/XServer.h>

namespace Tovra::Tests {

/// A window manager (openbox) on a server, which has begun its work; gone at the end of the object's life.
class WindowManager {
public:
    explicit WindowManager(const XServer& server);

    void Signal(int signal) const { m_program.Signal(signal); }

private:
    RunningProgram m_program;
};

} // namespace Tovra::Tests
