#pragma once

#include <stdexcept>

/// How RapidJSON tests its preconditions; its own definition would abort or test nothing. A nonsensical schema violates
/// some of them, and must not end a program that can do without a schema.
#define RAPIDJSON_ASSERT(condition) ((condition) ? static_cast<void>(0) : throw std::logic_error(#condition))
