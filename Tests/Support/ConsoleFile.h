#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace Tovra::Tests {

/// Redirects the standard output to a file during the object's life.
class ConsoleFile {
public:
    explicit ConsoleFile(const std::filesystem::path& path) : m_descriptor(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        EXPECT_GE(file, 0);
        EXPECT_GE(dup2(file, STDOUT_FILENO), 0);
        close(file);
    }
    ~ConsoleFile() {
        std::fflush(stdout);
        dup2(m_descriptor, STDOUT_FILENO);
        close(m_descriptor);
    }
    ConsoleFile(const ConsoleFile&) = delete;
    ConsoleFile& operator=(const ConsoleFile&) = delete;

private:
    int m_descriptor;
};

} // namespace Tovra::Tests
