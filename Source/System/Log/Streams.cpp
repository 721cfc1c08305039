#include <System/Error/Assertion.h>
#include <System/Log/Streams.h>

namespace Tovra::System::Log {

const char* GetStreamIDString(StreamID stream) {
    const char* const name = FindStreamName(stream);
    if (name == nullptr) {
        TOVRA_FAIL_CASE();
    }
    return name;
}

} // namespace Tovra::System::Log
