#pragma once

#include <Support/Program.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// What is printed, once, when the connection to the server is lost.
inline constexpr const char* lossReport = "Exception: The connection to the X server is lost.\n";

/// A headless X server (Xvfb, or the one at `path`) on a free display number; the destructor ends it. It doesn't reset
/// when its last client disconnects.
class XServer {
public:
    /// Returns when the server accepts connections; throws if it doesn't start.
    explicit XServer(const std::vector<std::string>& arguments = {"-screen", "0", "1024x768x24"},
                     const std::string& path = "Xvfb",
                     const std::map<std::string, std::string>& environment = GetPlainEnvironment());

    /// The value of DISPLAY for this server.
    const std::string& GetDisplayName() const { return m_displayName; }

    /// The default environment of programs, with this server's DISPLAY.
    std::map<std::string, std::string> GetEnvironment() const;

    /// Sends the server a signal: SIGSTOP makes it stop responding, SIGCONT continue.
    void Signal(int signal) const { m_program->Signal(signal); }

    /// Kills the server and waits until it has ended; every client's connection is broken then.
    void Kill();

private:
    std::optional<RunningProgram> m_program;
    std::string m_displayName;
};

} // namespace Tovra::Tests
