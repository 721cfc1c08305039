#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace Tovra::Tests {

/// Redirects the standard output, or another standard descriptor, to the end of a file during the object's life.
class ConsoleFile {
public:
    explicit ConsoleFile(const std::filesystem::path& path, int target = STDOUT_FILENO)
        : m_target(target), m_descriptor(dup(target)) {
        std::fflush(nullptr);
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        EXPECT_GE(file, 0);
        EXPECT_GE(dup2(file, m_target), 0);
        close(file);
    }
    ~ConsoleFile() {
        std::fflush(nullptr);
        dup2(m_descriptor, m_target);
        close(m_descriptor);
    }
    ConsoleFile(const ConsoleFile&) = delete;
    ConsoleFile& operator=(const ConsoleFile&) = delete;

private:
    int m_target;
    int m_descriptor;
};

} // namespace Tovra::Tests
