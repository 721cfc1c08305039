#pragma once

/// A library that is loaded before the static objects of the program are constructed, and unloaded after they were
/// destroyed.
///
/// If the environment variable `HANDLE_SIGNALS` is set, it handles the signals of the error handler from its loading
/// on: each writes "Before: <signal>" and a line end to the standard error stream and ends the process with status 42.
namespace Tovra::Tests {

/// The function is called with `argument` when the library is unloaded.
void CallAtUnload(void (*function)(int), int argument);

} // namespace Tovra::Tests
