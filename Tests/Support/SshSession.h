#pragma once

#include <Support/Program.h>
#include <Support/TemporaryFolder.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

/// An ssh server of its own for this user, and its client, which forwards X connections. They are joined by pipes; only
/// what is forwarded goes through the loopback network. Keys, configuration and authority are in a temporary folder,
/// which is also the home folder of the server's sessions.
class SshSession {
public:
    /// Throws if no keys can be made.
    SshSession();

    /// Runs a shell command at the server's side; its X connections are forwarded to the display that `displayName`
    /// names here. `options` are the client's.
    Program GetProgram(const std::string& displayName, const std::vector<std::string>& options,
                       const std::string& command) const;

private:
    std::string GetPath(const std::string& file) const { return m_folder.GetPath() / file; }
    void WriteServerConfiguration() const;
    void WriteClientConfiguration() const;

    TemporaryFolder m_folder;
};

} // namespace Tovra::Tests
