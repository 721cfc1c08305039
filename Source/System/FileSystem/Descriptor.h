#pragma once

#include <System/FileSystem/FileOperations.h>

#include <cerrno>
#include <utility>

namespace Tovra::System::FileSystem {

/// Owns the descriptor of an open file or folder, and closes it; `errno` stays. One thread at a time.
class Descriptor {
public:
    /// Takes what a function that opens has returned; below 0 nothing is open.
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (IsOpen()) {
            const int error = errno;
            CloseDescriptor(m_descriptor);
            errno = error;
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// Whether there is anything to close.
    bool IsOpen() const { return m_descriptor >= 0; }

    /// The descriptor, which stays owned.
    int Get() const { return m_descriptor; }

    /// Hands the descriptor over to the caller, who closes it.
    int Release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

} // namespace Tovra::System::FileSystem
