#pragma once

// The two functions of the mathematics library that the tool needs, for which alone it would load that library at each
// start. The linker puts them in place of the library's own, by the names that its option `--wrap` prescribes: ld(1).
// Any thread.

/// The smallest whole number that is not below `value`: ceil(3). Infinity and NaN are returned as they are.
extern "C" float RoundUp(float value) __asm__("__wrap_ceilf");

/// The whole number next to `value` on the side of zero: trunc(3). Infinity and NaN are returned as they are.
extern "C" double RoundToZero(double value) __asm__("__wrap_trunc");
