#pragma once

#include <cstdint>
#include <mutex>

namespace Tovra::System::Device::Mouse {

/// Converts scrolled pixels into notches of a wheel, for a system that has no finer unit. Any thread.
class WheelNotches {
public:
    /// The distance of one notch in pixels: the initial number of pixels to a line on macOS
    /// (`CGEventSourceGetPixelsPerLine`).
    static constexpr std::int32_t s_pixelsPerNotch = 10;

    /// The largest number of notches of one scroll in either direction. Each is two requests, and an absurd distance
    /// must not keep the server busy for minutes.
    static constexpr std::int32_t s_maximumNotches = 32767;

    /// `notches`, limited to `s_maximumNotches` in either direction.
    static std::int32_t Limit(std::int32_t notches);

    /// Adds pixels and returns the whole notches among those not yet returned. The rest waits for the next call, so
    /// that a gesture of many small steps gets as far as one large step. Pixels of opposite signs cancel each other
    /// out.
    std::int32_t Take(std::int32_t pixels);

private:
    std::mutex m_mutex;
    std::int32_t m_rest = 0; ///< Pixels that are not yet part of a notch.
};

} // namespace Tovra::System::Device::Mouse
