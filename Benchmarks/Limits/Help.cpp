// What the contract of -Help demands of the system, and nothing else: it learns its own name and that of each process,
// reads the schema, looks for the folder of logs and writes the text, or as many bytes as that has.
// HelpLimit <size of the text> <path of the schema> [compile]: with the last word it also compiles the schema, which
// the tool does only where a configuration is loaded.

#include <dirent.h>
#include <fcntl.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// Enough for a path, the schema or the text.
std::array<char, 16384> s_buffer;

/// Reads as much of a file as there is room for, with a zero behind it, and returns the length.
std::size_t Read(const char* path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t length = file < 0 ? -1 : read(file, s_buffer.data(), s_buffer.size() - 1);
    close(file);
    const auto size = static_cast<std::size_t>(std::max<ssize_t>(length, 0));
    s_buffer[size] = '\0';
    return size;
}

void ReadEntry(const char* id, const char* entry) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/proc/%s/%s", id, entry);
    Read(path.data());
}

/// By the link, else by the name of its first thread and the first word of its command line.
void ReadName(const char* id) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/proc/%s/exe", id);
    if (readlink(path.data(), s_buffer.data(), s_buffer.size()) < 1) {
        ReadEntry(id, "comm");
        ReadEntry(id, "cmdline");
    }
}

void ReadProcesses() {
    const int folder = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(dirent64) std::array<char, 4096> entries;
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

void ReadSchema(const char* path, bool mustCompile) {
    if (Read(path) == 0) {
        std::exit(EXIT_FAILURE);
    }
    if (mustCompile) {
        rapidjson::Document document;
        if (document.Parse(s_buffer.data()).HasParseError()) {
            std::exit(EXIT_FAILURE);
        }
        const rapidjson::SchemaDocument schema(document);
    }
}

void LookForLogs() {
    if (const char* const home = std::getenv("HOME")) {
        struct stat folder{};
        std::snprintf(s_buffer.data(), s_buffer.size(), "%s/.tovra/Logs", home);
        stat(s_buffer.data(), &folder);
    }
}

} // namespace

int main(int count, char** arguments) {
    const std::size_t textSize = count > 2 ? static_cast<std::size_t>(std::atoll(arguments[1])) : 0;
    if (textSize == 0 || textSize > s_buffer.size()) {
        return EXIT_FAILURE;
    }
    (void)!readlink("/proc/self/exe", s_buffer.data(), s_buffer.size());
    ReadProcesses();
    ReadSchema(arguments[2], count > 3 && std::strcmp(arguments[3], "compile") == 0);
    LookForLogs();
    std::memset(s_buffer.data(), ' ', textSize);
    return write(STDOUT_FILENO, s_buffer.data(), textSize) == static_cast<ssize_t>(textSize) ? EXIT_SUCCESS
                                                                                             : EXIT_FAILURE;
}
