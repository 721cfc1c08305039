// Ends in the way that its first argument names, in a line of its own that begins with the text "end".

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

namespace {

void EndInAChild(int (*end)()) {
    if (fork() == 0) {
        end();
    }
}

/// Constructed before the objects of any program.
struct Early {
    Early() {
        if (std::getenv("TOVRA_END_EARLY") != nullptr) {
            /* end early */ _exit(0);
        }
    }
};

[[gnu::init_priority(101)]] const Early early;

} // namespace

/// The twin has and calls a function of this name.
void RunByTheTwin() {
    return; /* end twin */
}

int main(int, char** arguments) {
    const std::string_view way = arguments[1];
    if (way == "exit") {
        /* end exit */ _exit(0);
    }
    if (way == "kill") {
        /* end kill */ raise(SIGKILL);
        _exit(1);
    }
    if (way == "abort") {
        /* end abort */ std::abort();
    }
    if (way == "fault") {
        /* end fault */ raise(SIGSEGV);
        _exit(1);
    }
    if (way == "child") {
        /* end child */ EndInAChild([]() -> int { _exit(0); });
    }
    if (way == "twin") {
        RunByTheTwin();
    }
    return 0; /* end return */
}
