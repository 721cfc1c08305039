#include <Support/XServer.h>

#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

namespace Tovra::Tests {

namespace {

/// Reads a line without its line end; empty if the stream ends first.
std::string ReadLine(int descriptor) {
    std::string line;
    for (char character = 0; read(descriptor, &character, 1) == 1; line += character) {
        if (character == '\n') {
            return line;
        }
    }
    return {};
}

} // namespace

XServer::XServer(const std::vector<std::string>& arguments, const std::string& path,
                 const std::map<std::string, std::string>& environment) {
    // Once it is ready, the server writes its display number to the standard output, which is our pipe.
    std::array<int, 2> pipeEnds{};
    if (pipe(pipeEnds.data()) != 0) {
        throw std::runtime_error("No pipe for an X server.");
    }
    Program program{
        .path = path, .arguments = {"-displayfd", "1", "-nolisten", "tcp", "-noreset"}, .environment = environment};
    program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
    program.descriptors = {{STDOUT_FILENO, pipeEnds[1]}};
    program.timeLimit = std::chrono::seconds(300);
    m_program.emplace(program);
    close(pipeEnds[1]);
    const auto number = ReadLine(pipeEnds[0]);
    close(pipeEnds[0]);
    if (number.empty()) {
        throw std::runtime_error("The X server did not start.");
    }
    m_displayName = ":" + number;
}

std::map<std::string, std::string> XServer::GetEnvironment() const {
    auto environment = GetPlainEnvironment();
    environment["DISPLAY"] = m_displayName;
    return environment;
}

void XServer::Kill() {
    m_program->Signal(SIGKILL);
    m_program->Wait();
}

} // namespace Tovra::Tests
