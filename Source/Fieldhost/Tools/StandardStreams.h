#pragma once

#include <string_view>

namespace Tovra::Fieldhost::Tools {

/// Makes the three standard descriptors safe to use. `main` calls it once, before anything else.
///
/// Opens the null device, or a socket where there is none, on each of them that is closed, so that no later descriptor
/// takes its number; where neither can be opened, the process ends at once, with status 1. Reserves the standard output
/// for `WriteToStandardOutput`: what libraries and drivers print there goes to the standard error stream, unless no
/// descriptor is left for that. Ignores SIGPIPE and SIGXFSZ, so that a closed pipe or a file at its size limit doesn't
/// end the process.
void SecureStandardStreams();

/// Writes the whole text to the standard output, unbuffered, and waits while a non-blocking descriptor is full. False
/// after an error, which loses the rest; the tool's exit status does not depend on it.
bool WriteToStandardOutput(std::string_view text);

} // namespace Tovra::Fieldhost::Tools
