#pragma once

#include <filesystem>

namespace Tovra::System::FileSystem {

/// Opens a file of ours by open(2)'s `flags` (access, O_APPEND, O_CREAT) and returns its descriptor, or -1. A new file
/// is for its owner alone: mode 0600, less the bits of the process's mask. Any thread. The caller closes the
/// descriptor, which other programs don't inherit.
///
/// The folder may be another user's, who is not trusted: a process of root must not be led to a file that this user may
/// not write. So the last component of `path` is not followed if it is a link, opening it never waits, and what was
/// opened counts only if it is a regular file without further hard links that belongs to the effective user or to the
/// folder's owner. Links among the folders above are followed.
int OpenPrivateFile(const std::filesystem::path& path, int flags);

/// Makes a folder and those above it that are missing, each for its owner alone: mode 0700, less the bits of the
/// process's mask. True if the folder was made. False if it exists, and if `path` ends in a separator. Any thread.
///
/// What root makes in a folder of another user is given to that user, who could not enter it otherwise.
///
/// Throws `std::filesystem::filesystem_error` with the text of `std::filesystem::create_directories`, which would give
/// the folders the mode 0777.
bool MakePrivateFolders(const std::filesystem::path& path);

} // namespace Tovra::System::FileSystem
