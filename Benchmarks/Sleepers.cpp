// Starts that many processes that do nothing, says so by a line, and ends them at the end of its input.

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
    const int wanted = count == 2 ? std::atoi(arguments[1]) : 0;
    std::signal(SIGCHLD, SIG_IGN);
    for (int started = 0; started < wanted; ++started) {
        const pid_t id = fork();
        if (id < 0) {
            std::perror("fork");
            return EXIT_FAILURE;
        }
        if (id == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                pause();
            }
        }
    }
    std::puts("started");
    std::fflush(stdout);
    return std::getchar() == EOF ? EXIT_SUCCESS : EXIT_FAILURE;
}
