#include <Support/InChild.h>
#include <Support/SystemOperations.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace Tovra::Tests {

std::string RunInChild(const std::function<void()>& body) {
    const std::array<int, 2> errors = MakePipe();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(errors[1], STDERR_FILENO);
        alarm(50);
        body();
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    close(errors[1]);
    std::string text;
    std::array<char, 512> buffer{};
    for (ssize_t count = 0; (count = read(errors[0], buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    close(errors[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << text;
    return text;
}

} // namespace Tovra::Tests
