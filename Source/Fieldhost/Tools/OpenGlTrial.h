#pragma once

#include <functional>

namespace Tovra::Graphics::OpenGl {
class GLContext;
}

namespace Tovra::Fieldhost::Tools {

/// How a trial of OpenGL ended.
enum class OpenGlOutcome : char { Success, NoWindow, NoContext };

/// Takes the outcome, and the context: complete after `Success`, incomplete after `NoContext`, empty after `NoWindow`.
using OpenGlReceiver = std::function<void(OpenGlOutcome outcome, const Graphics::OpenGl::GLContext& context)>;

/// Creates a window and an OpenGL context on it, calls `report` while both still exist, and destroys them.
/// `application` and `name` are the window's. The driver may crash or hang at any point, also after the report. Main
/// thread; see `AvoidShaderCache`, which it calls first.
void TryOpenGl(void* application, const char* name, const OpenGlReceiver& report);

} // namespace Tovra::Fieldhost::Tools
