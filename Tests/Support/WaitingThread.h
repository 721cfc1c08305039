#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace Tovra::Tests {

/// Returns when that thread of this process is blocked.
inline void WaitUntilItWaits(pid_t thread) {
    const std::filesystem::path path = std::filesystem::path("/proc/self/task") / std::to_string(thread) / "stat";
    std::string status;
    do {
        std::this_thread::yield();
        std::ifstream file(path);
        std::getline(file, status);
    } while (status.find(") S ") == std::string::npos);
}

} // namespace Tovra::Tests
