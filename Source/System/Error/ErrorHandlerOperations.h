#pragma once

#include <fcntl.h>

#include <csignal>

/// The system calls of the error handler, without any rules. All are safe in a signal handler.
namespace Tovra::System::Error {

/// Stands for no folder: names are then ordinary paths.
inline constexpr int noFolder = AT_FDCWD;

/// Whether a file or folder of that name exists in an open folder, following links; false if that can't be determined:
/// fstatat(2). Any thread.
bool Exists(int folder, const char* name);

/// What a signal does: its handler and the flags that it was installed with.
using SignalAction = struct sigaction;

/// The action of a signal: sigaction(2). Any thread.
SignalAction GetSignalAction(int signal);

/// Changes the action of a signal and returns the one before: sigaction(2). Any thread.
SignalAction ExchangeSignalAction(int signal, const SignalAction& action);

/// Limits the size of the main thread's stack to 64 MiB, unless the limit is lower already: setrlimit(2). Other threads
/// keep the size of their stacks. Any thread.
void LimitStack();

} // namespace Tovra::System::Error
