#pragma once

namespace Tovra::Tests {

void ReplaceLibraryFunctionBy(void* function, const char* name);

/// From now on libraries have this function instead of theirs of that name when this program's own code asks for it by
/// `dlsym`. Lasts for the process, so call it in a child process only. In `HostTests` alone.
template <class F>
void ReplaceLibraryFunction(const char* name, F* function) {
    ReplaceLibraryFunctionBy(reinterpret_cast<void*>(function), name);
}

} // namespace Tovra::Tests
