#include <Soak/LogReader.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <format>
#include <fstream>

namespace Tovra::Tests::Soak {

namespace {

/// Whether `text` begins with the form, in which each d stands for a digit.
bool BeginsWith(std::string_view text, std::string_view form) {
    return text.size() >= form.size() &&
           std::ranges::equal(text.substr(0, form.size()), form, [](char is, char wanted) {
               return wanted == 'd' ? is >= '0' && is <= '9' : is == wanted;
           });
}

std::int64_t GetNumber(std::string_view digits) {
    std::int64_t number = -1;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

} // namespace

void LogReader::ReadFiles(std::size_t left) {
    std::vector<std::filesystem::path> paths;
    if (std::filesystem::exists(m_folder)) {
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            paths.push_back(entry.path());
        }
    }
    // Their names contain the time at which they were created.
    std::ranges::sort(paths);
    for (std::size_t index = 0; index + left < paths.size(); ++index) {
        ReadFile(paths[index]);
        std::filesystem::remove(paths[index]);
    }
}

void LogReader::ReadFile(const std::filesystem::path& path) {
    ++m_fileCount;
    m_byteCount += static_cast<std::int64_t>(std::filesystem::file_size(path));
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (file.eof()) {
            m_error = std::format("The last line of {} is cut: '{}'.", path.string(), line);
        } else {
            AddLine(line);
        }
    }
}

void LogReader::AddLine(std::string_view line) {
    constexpr std::string_view time = "[dddd-dd-ddTdd:dd:dd.dddddddZ | ";
    constexpr std::string_view stream = "System] ";
    constexpr std::string_view numbers = "dd dddddddddd";
    const std::string_view rest = line.substr(std::min(time.size(), line.size()));
    const std::string_view text = rest.substr(std::min(stream.size(), rest.size()));
    if (!BeginsWith(line, time)) {
        m_error = std::format("A line is not whole: '{}'.", line);
    } else if (rest.starts_with(stream) && BeginsWith(text, numbers)) {
        const std::int64_t thread = GetNumber(text.substr(0, 2));
        const std::int64_t number = GetNumber(text.substr(3));
        if (text.size() != numbers.size() || thread >= threadCount ||
            number != m_counts[static_cast<std::size_t>(thread)]) {
            m_error = std::format("A line is not the next one of its thread: '{}'.", line);
            return;
        }
        ++m_counts[static_cast<std::size_t>(thread)];
    }
}

} // namespace Tovra::Tests::Soak
