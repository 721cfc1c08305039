#include <Support/Child.h>
#include <Support/SshSession.h>

#include <filesystem>
#include <stdexcept>

namespace Tovra::Tests {

namespace {

/// The name of the user that sessions belong to.
constexpr const char* rootName = "root";
constexpr const char* userName = "user";

void MakeKey(const std::string& path) {
    const ProgramResult result =
        Run({.path = "ssh-keygen", .arguments = {"-q", "-t", "ed25519", "-N", "", "-f", path}});
    if (result.status != 0) {
        throw std::runtime_error("No ssh key: " + result.errors);
    }
}

/// In namespaces where the file `$0` is /etc/passwd, becomes the user again.
constexpr const char* becomeUser = R"(user=$1 group=$2; shift 2; mount --bind "$0" /etc/passwd
exec unshare --user --map-user="$user" --map-group="$group" "$@")";

} // namespace

SshSession::SshSession() {
    MakeKey(GetPath("host-key"));
    MakeKey(GetPath("key"));
    m_folder.Write("remote-authority", "");
    WriteServerConfiguration();
    WriteClientConfiguration();
    if (IsRoot()) {
        // As the package's service does at its start.
        std::filesystem::create_directory("/run/sshd");
    } else {
        // The server lets nobody in who is not in /etc/passwd, and starts the shell that is named there.
        m_folder.Write("passwd", std::string(userName) + ":x:" + std::to_string(geteuid()) + ':' +
                                     std::to_string(getegid()) + "::" + m_folder.GetPath().string() + ":/bin/sh\n");
    }
}

Program SshSession::GetProgram(const std::string& displayName, const std::vector<std::string>& options,
                               const std::string& command) const {
    Program program{.path = "ssh", .arguments = {"-F", GetPath("client")}};
    if (!IsRoot()) {
        program.path = "unshare";
        program.arguments = {"--user",
                             "--map-root-user",
                             "--mount",
                             "sh",
                             "-ec",
                             becomeUser,
                             GetPath("passwd"),
                             std::to_string(geteuid()),
                             std::to_string(getegid()),
                             "ssh",
                             "-F",
                             GetPath("client")};
    }
    program.arguments.insert(program.arguments.end(), options.begin(), options.end());
    program.arguments.insert(program.arguments.end(), {"there", command});
    program.environment["HOME"] = m_folder.GetPath();
    program.environment["DISPLAY"] = displayName;
    program.environment["XAUTHORITY"] = GetPath("authority");
    return program;
}

void SshSession::WriteServerConfiguration() const {
    auto environment = GetPlainEnvironment();
    environment["HOME"] = m_folder.GetPath();
    environment["XAUTHORITY"] = GetPath("remote-authority");
    std::string variables;
    for (const auto& [name, value] : environment) {
        variables += " \"" + name + '=' + value + '"';
    }
    m_folder.Write("server", "HostKey " + GetPath("host-key") +
                                 "\n"
                                 "AuthorizedKeysFile " +
                                 GetPath("key.pub") +
                                 "\n"
                                 "StrictModes no\n" // The temporary folder may be below one that is open to all.
                                 "PermitRootLogin yes\n"
                                 "PermitUserRC no\n"
                                 "UsePAM no\n"
                                 "PidFile none\n"
                                 "X11Forwarding yes\n"
                                 "SetEnv" +
                                 variables + '\n');
}

void SshSession::WriteClientConfiguration() const {
    m_folder.Write("client", "Host there\n"
                             "User " +
                                 std::string(IsRoot() ? rootName : userName) +
                                 "\n"
                                 "ProxyCommand /usr/sbin/sshd -i -f " +
                                 GetPath("server") + " -E " + GetPath("log") +
                                 "\n"
                                 "IdentityFile " +
                                 GetPath("key") +
                                 "\n"
                                 "IdentityAgent none\n"
                                 "UserKnownHostsFile /dev/null\n"
                                 "GlobalKnownHostsFile /dev/null\n"
                                 "StrictHostKeyChecking no\n"
                                 "LogLevel ERROR\n");
}

} // namespace Tovra::Tests
