#include <System/Device/Mouse/WheelNotches.h>

#include <algorithm>

namespace Tovra::System::Device::Mouse {

std::int32_t WheelNotches::Limit(std::int32_t notches) {
    return std::clamp(notches, -s_maximumNotches, s_maximumNotches);
}

std::int32_t WheelNotches::Take(std::int32_t pixels) {
    const std::lock_guard lock(m_mutex);
    const std::int64_t total = std::int64_t{m_rest} + pixels;
    m_rest = static_cast<std::int32_t>(total % s_pixelsPerNotch);
    return static_cast<std::int32_t>(total / s_pixelsPerNotch);
}

} // namespace Tovra::System::Device::Mouse
