#pragma once

#include <MacOS/Declaring.h>

#include <cstdint>

TOVRA_CONSTANT(std::uint32_t, kDisplayModeNativeFlag, 0x02000000);
