#pragma once

// The toolkit's reference-counted objects, for the files of this host.

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace Tovra::System::Utilities {

/// Releases a reference, which must not be null.
struct ReferenceDeleter {
    void operator()(const void* reference) const { CFRelease(reference); }
};

/// An owned reference, or null.
template <class Reference>
using HeldReference = std::unique_ptr<std::remove_pointer_t<Reference>, ReferenceDeleter>;

/// The object as one of the kind `typeId`; null if it is of another kind, or null. A function for another kind of
/// object ends the process, and what comes from other programs may be of any kind. The result is owned as `object` is.
template <class Reference>
Reference CastTo(const void* object, CFTypeID typeId) {
    const bool isOfKind = object != nullptr && CFGetTypeID(object) == typeId;
    return isOfKind ? static_cast<Reference>(const_cast<void*>(object)) : nullptr;
}

} // namespace Tovra::System::Utilities
