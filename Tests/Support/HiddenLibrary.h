#pragma once

namespace Tovra::Tests {

/// Lays an empty file over a library, so that it can't be loaded any more: in a namespace of this process's own, which
/// is to be a child that a test has made for it.
void HideLibrary(const char* name);

} // namespace Tovra::Tests
