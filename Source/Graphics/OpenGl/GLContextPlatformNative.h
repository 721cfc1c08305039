#pragma once

/// What an OpenGL context asks of the platform: the only place that knows the platform's context type. A panel is named
/// by its window's native handle; the calls run on the calling thread, never on another.
namespace Tovra::Graphics::OpenGl {

/// Makes an OpenGL 3.2 core context with 8 bits each of red, green, blue and alpha, double-buffered, accelerated and
/// with a transparent surface (on X11 only if the panel has an alpha channel), binds it to the panel and makes it
/// current on the calling thread. The text is not used.
///
/// Null if any of that fails, and nothing of it is left then. The caller owns the context and gives it to
/// `GLContextDestroyPlatformNative`.
void* GLContextInitializePlatformNative(unsigned long panel, const char* text);

/// Ends the context; null is allowed.
void GLContextDestroyPlatformNative(unsigned long panel, void* context);

/// Called before a frame is drawn.
void GLContextFrameStartPlatformNative(unsigned long panel, void* context);

/// Swaps the two buffers, which shows what was drawn.
void GLContextFrameEndPlatformNative(unsigned long panel, void* context);

/// Called after the panel's size changed.
void GLContextResizePlatformNative(unsigned long panel, void* context);

/// The address of an OpenGL entry point of any type.
using EntryPoint = void (*)();

/// The OpenGL entry point of that name, or null. Needs a current context.
EntryPoint GLContextGetEntryPointPlatformNative(const char* name);

} // namespace Tovra::Graphics::OpenGl
