#pragma once

namespace Tovra::Tests {

/// Lets `dlopen` find no library of that name from now on, wherever the program's own code asks for it. For the whole
/// process, which is to be a child that a test has made for it.
void HideLibrary(const char* name);

} // namespace Tovra::Tests
