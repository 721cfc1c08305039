#include <MacOS/Doubles/Calls.h>
#include <objc/runtime.h>

using Tovra::Tests::Doubles::Call;

namespace {

/// Stands for whatever the runtime hands out.
int anything;

} // namespace

extern "C" {

Class objc_getClass(const char* name) {
    const Call call("objc_getClass", name);
    return call.Fails() ? nullptr : reinterpret_cast<Class>(&anything);
}

SEL sel_getUid(const char* name) {
    const Call call("sel_getUid", name);
    return reinterpret_cast<SEL>(&anything);
}

// By the type that it is called with, for the undefined-behaviour sanitizer.
id SendMessage(Class receiver, SEL selector) __asm__("objc_msgSend");

id SendMessage(Class receiver, SEL) {
    const Call call("objc_msgSend");
    return receiver == nullptr ? nullptr : reinterpret_cast<id>(&anything);
}
}
