#pragma once

namespace Tovra::Fieldhost::Tools {

/// Creates the process's application object if the window system has such a thing (`NSApplication`); windows need it. A
/// repeated call does nothing. Main thread, before any window.
void TouchPlatformApplication();

/// Keeps the OpenGL driver of this process from storing shaders in the user's home, which Mesa does (environment
/// variable MESA_SHADER_CACHE_DISABLE). Its thread for that has the priority of idle work, so on a busy machine the
/// process would take seconds to end. Before the driver is loaded, while no other thread uses the environment:
/// setenv(3).
void AvoidShaderCache();

} // namespace Tovra::Fieldhost::Tools
