#pragma once

/// The platform's part of an OpenGL context: the only code that knows the platform's context type. `panel` is a
/// window's native handle. Every function runs on the calling thread. On macOS that should be the main thread, where
/// AppKit expects work on views: the context is bound to the panel's content view, and `setView:`, `update` and
/// `clearDrawable` are not moved there.
namespace Tovra::Graphics::OpenGl {

/// Creates an OpenGL 3.2 core context with 8 bits each of red, green, blue and alpha, double-buffered, accelerated and
/// with a transparent surface (on X11 only if the panel has an alpha channel), binds it to the panel and makes it
/// current. `text` is ignored.
///
/// Null if any of that fails; nothing is left then. The caller owns the context and passes it to
/// `GLContextDestroyPlatformNative`.
void* GLContextInitializePlatformNative(unsigned long panel, const char* text);

/// Destroys the context; null is allowed. On X11 a context whose connection is lost is left as it is.
void GLContextDestroyPlatformNative(unsigned long panel, void* context);

/// Called before a frame is drawn.
void GLContextFrameStartPlatformNative(unsigned long panel, void* context);

/// Swaps the buffers, which shows the frame.
void GLContextFrameEndPlatformNative(unsigned long panel, void* context);

/// Called after the panel's size has changed.
void GLContextResizePlatformNative(unsigned long panel, void* context);

/// The address of an OpenGL entry point of any type.
using EntryPoint = void (*)();

/// The OpenGL entry point of that name, or null. Needs a current context.
EntryPoint GLContextGetEntryPointPlatformNative(const char* name);

} // namespace Tovra::Graphics::OpenGl
