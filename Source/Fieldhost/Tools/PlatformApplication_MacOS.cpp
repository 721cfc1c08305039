#include <Fieldhost/Tools/PlatformApplication.h>

#include <objc/message.h>
#include <objc/runtime.h>

namespace Tovra::Fieldhost::Tools {

void TouchPlatformApplication() {
    using SharedApplication = id (*)(Class, SEL);
    reinterpret_cast<SharedApplication>(&objc_msgSend)(objc_getClass("NSApplication"), sel_getUid("sharedApplication"));
}

void AvoidShaderCache() {
    // The system's drivers keep theirs without a thread of this process.
}

} // namespace Tovra::Fieldhost::Tools
