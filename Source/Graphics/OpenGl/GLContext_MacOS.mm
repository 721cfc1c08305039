// OpenGL is deprecated on this platform, but drawing code is still written for it.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

#include <Graphics/OpenGl/EntryPoints.h>
#include <Graphics/OpenGl/GLContextPlatformNative.h>

#import <AppKit/AppKit.h>
#import <OpenGL/gl3.h>

#include <algorithm>
#include <cstring>
#include <ranges>

namespace Tovra::Graphics::OpenGl {

// The calling thread may be one without an autorelease pool of its own, so each function that uses objects has one.

void* GLContextInitializePlatformNative(unsigned long panel, const char*) {
    const NSOpenGLPixelFormatAttribute attributes[] = {NSOpenGLPFAOpenGLProfile,
                                                       NSOpenGLProfileVersion3_2Core,
                                                       NSOpenGLPFAColorSize,
                                                       24,
                                                       NSOpenGLPFAAlphaSize,
                                                       8,
                                                       NSOpenGLPFADoubleBuffer,
                                                       NSOpenGLPFAAccelerated,
                                                       0};
    @autoreleasepool {
        NSOpenGLPixelFormat* const format = [[NSOpenGLPixelFormat alloc] initWithAttributes:attributes];
        if (format == nil) {
            // No renderer has all of it; that of a virtual machine is not accelerated.
            return nullptr;
        }
        NSOpenGLContext* const context = [[NSOpenGLContext alloc] initWithFormat:format shareContext:nil];
        [format release];
        const GLint transparent = 0;
        [context setValues:&transparent forParameter:NSOpenGLContextParameterSurfaceOpacity];
        [context setView:[reinterpret_cast<NSPanel*>(panel) contentView]];
        [context makeCurrentContext];
        return context;
    }
}

void GLContextDestroyPlatformNative(unsigned long, void* context) {
    @autoreleasepool {
        [static_cast<NSOpenGLContext*>(context) clearDrawable];
        [static_cast<NSOpenGLContext*>(context) release];
    }
}

void GLContextFrameStartPlatformNative(unsigned long, void*) {}

void GLContextFrameEndPlatformNative(unsigned long, void* context) {
    @autoreleasepool {
        [static_cast<NSOpenGLContext*>(context) flushBuffer];
    }
}

void GLContextResizePlatformNative(unsigned long, void* context) {
    @autoreleasepool {
        [static_cast<NSOpenGLContext*>(context) update];
    }
}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    // The framework is linked, so this only looks up the name.
    static const struct {
        const char* name;
        EntryPoint entryPoint;
    } entryPoints[] = {
#define TOVRA_OPENGL_LINKED(Result, name, parameters) {#name, reinterpret_cast<EntryPoint>(&::name)},
        TOVRA_OPENGL_ENTRY_POINTS(TOVRA_OPENGL_LINKED) TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_OPENGL_LINKED)};
    const auto* const found =
        std::ranges::find_if(entryPoints, [name](const auto& entry) { return std::strcmp(entry.name, name) == 0; });
    return found != std::ranges::end(entryPoints) ? found->entryPoint : nullptr;
}

} // namespace Tovra::Graphics::OpenGl
