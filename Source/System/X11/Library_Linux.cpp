#include <System/X11/Library_Linux.h>

#include <dlfcn.h>

#include <cstdio>

namespace Tovra::System::X11 {

Library::Library(const char* file) : m_file(file), m_handle(dlopen(file, RTLD_LAZY)) {}

void* Library::Find(const char* name) const {
    void* const address = dlsym(m_handle, name);
    if (address == nullptr) {
        std::fprintf(stderr, "Exception: %s has no %s.\n", m_file, name);
    }
    return address;
}

} // namespace Tovra::System::X11
