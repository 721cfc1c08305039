#pragma once

#include <Support/Child.h>

#include <sys/mount.h>

namespace Tovra::Tests {

/// Makes the next child of this process the first process of a new process namespace.
void EnterProcessNamespace();

/// Runs part of a test as the first process of a new process namespace, with the procfs of that namespace or with ours,
/// and returns its exit status.
template <class Body>
int RunInNamespace(bool hasOwnProcfs, const Body& body) {
    return Child([&] {
               EnterProcessNamespace();
               return Child([&] {
                          ThrowIf(hasOwnProcfs && mount("proc", "/proc", "proc", 0, nullptr) != 0, "mount /proc");
                          return static_cast<int>(body());
                      })
                   .Wait();
           })
        .Wait();
}

} // namespace Tovra::Tests
