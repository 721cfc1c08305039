#pragma once

#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// A session of Wayland's with nothing to look at (weston), and an X server within it (Xwayland) for the programs that
/// need one; both gone at the end of the object's life.
class WaylandSession {
public:
    /// Returns when the X server takes connections; throws if it doesn't come up. `arguments` are further ones of the
    /// compositor.
    explicit WaylandSession(const std::vector<std::string>& arguments = {});

    /// What the variable DISPLAY must hold for the X server.
    const std::string& GetDisplayName() const { return m_displayName; }

private:
    std::map<std::string, std::string> GetEnvironment() const;
    void StartCompositor(const std::vector<std::string>& arguments);
    void StartServer();

    TemporaryFolder m_folder;
    std::optional<RunningProgram> m_compositor;
    std::optional<RunningProgram> m_server;
    std::string m_displayName = ":";
};

} // namespace Tovra::Tests
