#pragma once

// The two functions of the mathematics library that the tool needs, for which alone it would load that library at each
// start. The linker puts them in place of the library's own and prescribes their names: `--wrap` of ld(1). Any thread.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)

/// The smallest whole number that is not below `value`: ceil(3). Infinity and NaN are returned as they are.
extern "C" float __wrap_ceilf(float value);

/// The whole number next to `value` on the side of zero: trunc(3). Infinity and NaN are returned as they are.
extern "C" double __wrap_trunc(double value);

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
