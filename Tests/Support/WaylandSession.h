#pragma once

#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// A headless Wayland session (weston) and an X server within it (Xwayland); the destructor ends both.
class WaylandSession {
public:
    /// Returns when the X server accepts connections; throws if it doesn't start. `arguments` are additional ones
    /// for the compositor.
    explicit WaylandSession(const std::vector<std::string>& arguments = {});

    /// The value of DISPLAY for the X server.
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
