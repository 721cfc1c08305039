#include <Fakes/FileOperations.h>
#include <System/FileSystem/FileOperations.h>

#include <fcntl.h>

using Tovra::Tests::Fakes::fileOperations;

namespace Tovra::System::FileSystem {

int OpenFolder(const char* path) {
    return fileOperations.folderFault.Strikes() ? fileOperations.folderFault.result
                                                : open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

} // namespace Tovra::System::FileSystem
