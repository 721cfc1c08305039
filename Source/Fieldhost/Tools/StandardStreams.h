#pragma once

#include <string_view>

namespace Tovra::Fieldhost::Tools {

/// Makes the three standard descriptors safe to use; `main` calls it before anything else.
///
/// Opens the null device on each of them that is closed, so that no later descriptor takes its place. Keeps the
/// standard output for `WriteToStandardOutput` alone: what libraries and drivers print there goes to the standard error
/// stream. A reader that goes away and a file at its size limit no longer end the process by a signal.
void SecureStandardStreams();

/// Writes the whole text to the standard output, at once and unbuffered. What can't be written is lost without an
/// error: the exit status does not depend on it.
void WriteToStandardOutput(std::string_view text);

} // namespace Tovra::Fieldhost::Tools
