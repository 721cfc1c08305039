#pragma once

#include <cstdint>
#include <mutex>

namespace Tovra::System::Device::Mouse {

/// Turns scrolled pixels into notches of a wheel, for a system that knows nothing finer. Any thread.
class WheelNotches {
public:
    /// How far a notch scrolls: as many pixels as the product's own system counts to a line at first
    /// (`CGEventSourceGetPixelsPerLine`).
    static constexpr std::int32_t s_pixelsPerNotch = 10;

    /// How many notches a scroll has at most, either way: each is two requests, and a distance beyond all sense must
    /// not keep the server busy for minutes.
    static constexpr std::int32_t s_mostNotches = 32767;

    /// The notches that are made of so many.
    static std::int32_t Limit(std::int32_t notches);

    /// The whole notches of the pixels so far; what is less than a notch waits for the next call, so that a gesture of
    /// many small steps gets as far as one large step. Positive and negative pixels cancel each other out.
    std::int32_t Take(std::int32_t pixels);

private:
    std::mutex m_mutex;
    std::int32_t m_rest = 0; ///< Pixels that no notch was given for yet.
};

} // namespace Tovra::System::Device::Mouse
