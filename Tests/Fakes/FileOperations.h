#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <vector>

namespace Tovra::Tests::Fakes {

/// Files and folders are real ones, whose calls a test can make fail and whose owners it can change, without the right
/// to do so. Not for several threads at the same time.
struct FileOperations {
    Fault<> folderFault; ///< Of opening a folder.
    Fault<> openFault;   ///< Of opening a file, or a folder by its name in another one.
    Fault<> statusFault;
    Fault<std::ptrdiff_t> readFault;
    std::size_t readSize = 0; ///< Of the last read, as it was asked for.
    Fault<> flagsFault;
    Fault<> makeFault;

    std::function<void()> onOpen; ///< Called before a file is opened.

    /// Changes the status of an open file or folder before it is returned.
    std::function<void(struct stat& status)> onStatus;

    /// Called after a folder was made.
    std::function<void()> onMake;

    /// The effective user; the real one if there is none.
    std::optional<uid_t> user;

    /// The owners that were set, in order. No owner really changes.
    std::vector<uid_t> owners;

    int closed = 0; ///< How many descriptors were closed.
};

inline FileOperations& fileOperations = GetState<FileOperations>();

} // namespace Tovra::Tests::Fakes
