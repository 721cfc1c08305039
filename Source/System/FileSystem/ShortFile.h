#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace Tovra::System::FileSystem {

/// The content of a regular file of at most `limit` bytes. None if it can't be read, is longer, is anything else, or if
/// its content is longer or shorter than its size says. Never waits for a pipe or a device. A file of size 0, as most
/// of those in /proc, counts as empty without being read. Links are followed. Any thread.
std::optional<std::string> ReadShortFile(const std::filesystem::path& path, std::size_t limit);

} // namespace Tovra::System::FileSystem
