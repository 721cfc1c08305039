#include <System/X11/Library_Linux.h>

#include <dlfcn.h>

#include <cstdio>

namespace Tovra::System::X11 {

Library::Library(const char* file) : m_file(file), m_handle(dlopen(file, RTLD_LAZY)) {}

void* Library::Find(const char* name) const {
    // With a null handle dlsym(3) looks in everything that the process has loaded.
    void* const address = IsOpen() ? dlsym(m_handle, name) : nullptr;
    if (address == nullptr) {
        std::fprintf(stderr, "Exception: %s has no %s.\n", m_file, name);
    }
    return address;
}

} // namespace Tovra::System::X11
