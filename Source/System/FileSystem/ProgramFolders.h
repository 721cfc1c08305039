#pragma once

#include <filesystem>

/// Names of folders and files of this family of programs.
namespace Tovra::System::FileSystem {

/// The folder of the programs in a user's home, which need not exist.
inline std::filesystem::path GetUserFolder(const std::filesystem::path& home) {
    return home / ".tovra";
}

/// The folder of log and dump files in a user folder.
inline std::filesystem::path GetLogFolder(const std::filesystem::path& userFolder) {
    return userFolder / "Logs";
}

/// The schema of configurations in the folder of a program.
inline std::filesystem::path GetSchemaFile(const std::filesystem::path& programFolder) {
    return programFolder / "Schemas" / "Halvorn-Configuration-2501.json";
}

} // namespace Tovra::System::FileSystem
