#pragma once

#include <Support/Program.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// What is printed once when the server goes.
inline constexpr const char* lossReport = "Exception: The connection to the X server is lost.\n";

/// An X server without a screen to look at (Xvfb, or the one at `path`), of a test's own, on a display number that it
/// found free; gone at the end of the object's life. It keeps its state when its last client leaves.
class XServer {
public:
    /// Returns when the server takes connections; throws if it doesn't come up. `arguments` are further ones.
    explicit XServer(const std::vector<std::string>& arguments = {"-screen", "0", "1024x768x24"},
                     const std::string& path = "Xvfb",
                     const std::map<std::string, std::string>& environment = GetPlainEnvironment());

    /// What the variable DISPLAY must hold for this server.
    const std::string& GetDisplayName() const { return m_displayName; }

    /// The plain environment with this server's DISPLAY.
    std::map<std::string, std::string> GetEnvironment() const;

    /// Sends the server a signal: SIGSTOP makes it silent, SIGCONT lets it go on.
    void Signal(int signal) const { m_program->Signal(signal); }

    /// Kills the server and waits until it is gone, so that every client's connection breaks.
    void Kill();

private:
    std::optional<RunningProgram> m_program;
    std::string m_displayName;
};

} // namespace Tovra::Tests
