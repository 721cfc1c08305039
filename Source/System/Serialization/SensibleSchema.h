#pragma once

#include <System/Serialization/RapidJsonTypes.h>

#include <cstddef>

namespace Tovra::System::Serialization {

/// Copies what constrains anything in a schema (draft 4) to `copy`, an empty document, so that the library compiles it
/// correctly: without keywords that are unknown or have invalid values, with the first of equal keys, and with
/// the schemas that it refers to in "definitions" under names of our own.
///
/// False, with `copy` of no use, if the schema is beyond a limit that `JsonSchemaWrapper::Compile` names. Throws
/// `std::bad_alloc` if memory runs out.
bool CopySensibleSchema(const rapidjson::Value& schema, rapidjson::Document& copy);

/// The steps for all patterns of a schema while it is copied: to compile each of them and to match it with names.
inline constexpr std::size_t maxPatternSteps = 5'000'000;

/// A pattern that begins with this matches what the rest of it does not match.
inline constexpr char complementMark = '\x01';

/// Refers, in a copy, to the schema by which nothing is valid: that of additional properties that are forbidden.
inline constexpr const char* refusalPointer = "#/definitions/refusal";

} // namespace Tovra::System::Serialization
