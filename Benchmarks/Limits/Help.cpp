// What -Help can't do without: it learns its own name and that of each process, which it holds meanwhile, looks for its
// folder, and writes the text. With the path of a schema it also reads and compiles that.

#include <dirent.h>
#include <fcntl.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::array<char, 4096> buffer;

void Read(const char* id, const char* entry) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/proc/%s/%s", id, entry);
    const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file >= 0) {
        (void)!read(file, buffer.data(), buffer.size());
        close(file);
    }
}

/// By the link, else by the name of its first thread and the first word of its command line.
void ReadName(const char* id) {
    const auto held = static_cast<int>(syscall(SYS_pidfd_open, std::atoi(id), 0));
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/proc/%s/exe", id);
    if (readlink(path.data(), buffer.data(), buffer.size()) < 1) {
        Read(id, "comm");
        Read(id, "cmdline");
    }
    close(held);
}

void ReadProcesses() {
    (void)!readlink("/proc/self/exe", buffer.data(), buffer.size());
    const int folder = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(dirent64) std::array<char, 32768> entries;
    for (ssize_t length = 0; (length = getdents64(folder, entries.data(), entries.size())) > 0;) {
        for (ssize_t offset = 0; offset < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(entries.data() + offset);
            offset += entry->d_reclen;
            if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9') {
                ReadName(entry->d_name);
            }
        }
    }
    close(folder);
}

void CompileSchema(const char* path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    std::array<char, 16384> text;
    const ssize_t length = read(file, text.data(), text.size() - 1);
    close(file);
    if (length < 1) {
        std::exit(EXIT_FAILURE);
    }
    text[static_cast<std::size_t>(length)] = '\0';
    rapidjson::Document document;
    document.Parse(text.data());
    const rapidjson::SchemaDocument schema(document);
}

} // namespace

int main(int count, char** arguments) {
    ReadProcesses();
    if (count > 1) {
        CompileSchema(arguments[1]);
    }
    struct stat folder{};
    if (const char* const home = std::getenv("HOME")) {
        std::snprintf(buffer.data(), buffer.size(), "%s/.tovra/Logs", home);
        stat(buffer.data(), &folder);
    }
    // As long as the text is.
    constexpr std::size_t textSize = 1254;
    std::memset(buffer.data(), ' ', textSize);
    (void)!write(STDOUT_FILENO, buffer.data(), textSize);
}
