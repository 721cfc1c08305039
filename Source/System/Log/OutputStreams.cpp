#include <System/Log/LogFileOperations.h>
#include <System/Log/OutputStreams.h>

#include <iostream>

namespace Tovra::System::Log {

namespace {

/// Whether this thread is writing to an output stream.
constinit thread_local bool s_isWriting = false;

class Writing {
public:
    Writing() { s_isWriting = true; }
    ~Writing() { s_isWriting = false; }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
};

} // namespace

bool WriteAndFlush(OutputStream stream, std::string_view text) {
    if (s_isWriting) {
        WriteFile(static_cast<int>(stream), text.data(), text.size());
        return false;
    }
    const Writing writing;
    std::ostream& target = stream == OutputStream::Error ? std::cerr : std::cout;
    target.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    return true;
}

} // namespace Tovra::System::Log
