#include <System/Utilities/Platform.h>

namespace Tovra::System::Utilities {

// The Linux build stands in for the product, so it answers as the product does.
Platform::Type Platform::GetTypePlatform() {
    return Type::MacOS;
}

} // namespace Tovra::System::Utilities
