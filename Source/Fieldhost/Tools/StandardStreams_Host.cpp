#include <Fieldhost/Tools/StandardStreams.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace Tovra::Fieldhost::Tools {

namespace {

int s_outputDescriptor = STDOUT_FILENO;

/// Opens the lowest free descriptor, or none.
int OpenPlaceholder() {
    const int null = open("/dev/null", O_RDWR);
    // A sandbox may lack the device. A socket without a peer needs no file; reading and writing it fail.
    return null >= 0 ? null : socket(AF_UNIX, SOCK_STREAM, 0);
}

bool IsOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

/// Moves the standard output to a descriptor of ours, and what others print there to the standard error stream. False,
/// with nothing changed, if no descriptor is left, or if one of the two is closed.
bool ReserveOutput() {
    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (kept < 0) {
        return false;
    }
    if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        close(kept);
        return false;
    }
    s_outputDescriptor = kept;
    return true;
}

bool WaitUntilWritable() {
    pollfd request{s_outputDescriptor, POLLOUT, 0};
    return poll(&request, 1, -1) > 0 || errno == EINTR;
}

} // namespace

void SecureStandardStreams() {
    // Succeeds only if all three are open.
    if (!IsOpen(STDIN_FILENO) || !ReserveOutput()) {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            // It is the lowest free one, which the placeholder gets.
            if (!IsOpen(descriptor) && OpenPlaceholder() < 0) {
                // A connection would take its number, and get the document or what a driver prints.
                _exit(EXIT_FAILURE);
            }
        }
        ReserveOutput();
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

bool WriteToStandardOutput(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(s_outputDescriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || (errno == EAGAIN ? !WaitUntilWritable() : errno != EINTR)) {
            return false;
        }
    }
    return true;
}

} // namespace Tovra::Fieldhost::Tools
