#include <System/Utilities/Platform.h>

namespace Tovra::System::Utilities {

// Intentional: the Linux build answers as the product does, which it stands in for.
Platform::Type Platform::GetTypePlatform() {
    return Type::MacOS;
}

} // namespace Tovra::System::Utilities
