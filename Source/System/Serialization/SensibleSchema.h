#pragma once

#include <System/Serialization/RapidJsonTypes.h>

#include <cstddef>

namespace Tovra::System::Serialization {

/// Fills `copy`, an empty document, with what of a schema (draft 4) constrains anything, so that the library compiles
/// it as it is meant: without the keywords that it does not know or whose values make no sense, with the first of equal
/// keys, and with what it refers to in "definitions" under names of our own.
///
/// False if the schema is to count as none: if it is nested too deep or too large (3,000 schemas, references and names,
/// each of which counts once more for every 16 that it is nested in, or 20,000 steps of patterns, or 5,000,000 to read
/// and match these), applies itself or 1,000 others to one value, or holds what the library takes for a senseless
/// schema though it is none: a "$ref" in a value of "enum", a property of a keyword's name.
bool CopySensibleSchema(const rapidjson::Value& schema, rapidjson::Document& copy);

/// What the patterns of a schema may cost while it is copied, each compiled, and matched with names.
inline constexpr std::size_t maxPatternSteps = 5'000'000;

/// A pattern that begins so matches what the rest of it does not match.
inline constexpr char complementMark = '\x01';

/// Where in a copy the schema stands that nothing is valid by: the additional properties that are none.
inline constexpr const char* refusalPointer = "#/definitions/refusal";

} // namespace Tovra::System::Serialization
