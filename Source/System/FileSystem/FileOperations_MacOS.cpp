#include <System/FileSystem/FileOperations.h>

#include <fcntl.h>

namespace Tovra::System::FileSystem {

int OpenFolder(const char* path) {
    return open(path, O_SEARCH | O_CLOEXEC);
}

} // namespace Tovra::System::FileSystem
