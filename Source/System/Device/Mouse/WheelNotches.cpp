#include <System/Device/Mouse/WheelNotches.h>

namespace Tovra::System::Device::Mouse {

std::int32_t WheelNotches::Take(std::int32_t pixels) {
    const std::int64_t total = std::int64_t{m_rest} + pixels;
    m_rest = static_cast<std::int32_t>(total % s_pixelsPerNotch);
    return static_cast<std::int32_t>(total / s_pixelsPerNotch);
}

} // namespace Tovra::System::Device::Mouse
