#pragma once

#include <stdexcept>

/// RapidJSON tests its preconditions with this, seen before its own choice, which would abort or test nothing: a schema
/// without sense reaches some of them, and must not end a program that can do without one.
#define RAPIDJSON_ASSERT(condition) ((condition) ? static_cast<void>(0) : throw std::logic_error(#condition))
