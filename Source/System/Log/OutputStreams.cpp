#include <System/Log/OutputStreams.h>

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
    WriteToStream(stream, text);
    return true;
}

} // namespace Tovra::System::Log
