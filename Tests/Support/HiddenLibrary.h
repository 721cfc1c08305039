#pragma once

namespace Tovra::Tests {

/// From now on `dlopen` fails for a library of that name when this program's own code calls it. Lasts for the process,
/// so call it in a child process only.
void HideLibrary(const char* name);

} // namespace Tovra::Tests
