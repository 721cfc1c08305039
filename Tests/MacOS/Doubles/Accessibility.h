#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <MacOS/Doubles/Objects.h>

#include <cstdint>
#include <map>
#include <vector>

namespace Tovra::Tests::Doubles {

/// A window of the accessibility layer.
struct AccessibleWindow {
    int number = 0; ///< By which records tell it from others; never 0.
    CGPoint position = {};
    CGSize size = {};
};

/// An application of the accessibility layer.
struct AccessibleApplication {
    std::vector<AccessibleWindow> windows; ///< In the layer's order; raising one moves it to the front.
    int focusedWindow = 0;                 ///< Its number; 0 for none.
};

/// How the copying of an attribute that is there ends.
struct Copying {
    AXError result = kAXErrorSuccess; ///< An error may come with a value all the same.
    bool givesValue = true;           ///< Success may come with null.
};

/// The applications by their process id, and the one in front.
struct Accessibility {
    std::map<std::int32_t, AccessibleApplication> applications;
    std::int32_t frontProcessId = 0;
    Copying copying = {};
};

inline Accessibility& accessibility = Fakes::GetState<Accessibility>();

} // namespace Tovra::Tests::Doubles
