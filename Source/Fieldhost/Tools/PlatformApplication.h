#pragma once

namespace Tovra::Fieldhost::Tools {

/// Creates the process's application object if the window system has such a thing (`NSApplication`); windows need it. A
/// repeated call does nothing. Main thread, before any window.
void TouchPlatformApplication();

} // namespace Tovra::Fieldhost::Tools
