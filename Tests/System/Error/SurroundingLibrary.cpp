#include <System/Error/SurroundingLibrary.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

namespace {

void (*functionAtUnload)(int) = nullptr;
int argumentAtUnload = 0;

// The flags with which it is installed tell the kernel to pass the signal a second time.
void Handle(int signal, siginfo_t* information, void*) {
    dprintf(STDERR_FILENO, "Before: %d\n", information->si_signo == signal ? signal : -1);
    _exit(42);
}

[[gnu::constructor]] void OnLoad() {
    if (std::getenv("HANDLE_SIGNALS") != nullptr) {
        for (const int signal : {SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT, SIGFPE}) {
            struct sigaction action{};
            action.sa_sigaction = Handle;
            action.sa_flags = SA_SIGINFO;
            sigaction(signal, &action, nullptr);
        }
    }
}

[[gnu::destructor]] void OnUnload() {
    if (functionAtUnload != nullptr) {
        functionAtUnload(argumentAtUnload);
    }
}

} // namespace

void Tovra::Tests::CallAtUnload(void (*function)(int), int argument) {
    functionAtUnload = function;
    argumentAtUnload = argument;
}
