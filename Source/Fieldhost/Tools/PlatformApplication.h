#pragma once

namespace Tovra::Fieldhost::Tools {

/// Makes the window system's application object of this process, if the host has such a thing. Windows need it. Main
/// thread, before any window.
void TouchPlatformApplication();

} // namespace Tovra::Fieldhost::Tools
