#include <Support/WaylandSession.h>

#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace Tovra::Tests {

WaylandSession::WaylandSession(const std::vector<std::string>& arguments) {
    StartCompositor(arguments);
    StartServer();
}

std::map<std::string, std::string> WaylandSession::GetEnvironment() const {
    auto environment = GetPlainEnvironment();
    environment["XDG_RUNTIME_DIR"] = m_folder.GetPath();
    environment["WAYLAND_DISPLAY"] = "wayland";
    return environment;
}

void WaylandSession::StartCompositor(const std::vector<std::string>& arguments) {
    Program program{
        .path = "weston",
        .arguments = {"--backend=headless-backend.so", "--shell=kiosk-shell.so", "--socket=wayland", "--no-config"},
        .environment = GetEnvironment()};
    program.environment.erase("WAYLAND_DISPLAY"); // The compositor makes its own.
    program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
    m_compositor.emplace(program);
    const auto socket = m_folder.GetPath() / "wayland";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!std::filesystem::exists(socket) && m_compositor->IsRunning() &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void WaylandSession::StartServer() {
    std::array<int, 2> pipeEnds{};
    if (pipe(pipeEnds.data()) != 0) {
        throw std::runtime_error("No pipe for an X server.");
    }
    m_server.emplace(Program{.path = "Xwayland",
                             .arguments = {"-displayfd", "1", "-nolisten", "tcp", "-noreset"},
                             .environment = GetEnvironment(),
                             .descriptors = {{STDOUT_FILENO, pipeEnds[1]}}});
    close(pipeEnds[1]);
    // The server writes its display number and a line end when it is ready.
    for (char character = 0; read(pipeEnds[0], &character, 1) == 1 && character != '\n';) {
        m_displayName += character;
    }
    close(pipeEnds[0]);
    if (m_displayName.size() == 1) {
        throw std::runtime_error("The X server of the Wayland session did not start.");
    }
}

} // namespace Tovra::Tests
