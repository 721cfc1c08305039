#include <System/Utilities/Number.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Tovra::System::Utilities {

std::int32_t Truncate(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

} // namespace Tovra::System::Utilities
