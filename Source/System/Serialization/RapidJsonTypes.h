#pragma once

// Declares the JSON library's types for headers that only pass them on. Code that uses them includes the library.

namespace rapidjson {

template <typename CharType>
struct UTF8;
class CrtAllocator;
template <typename BaseAllocator>
class MemoryPoolAllocator;
template <typename Encoding, typename Allocator>
class GenericValue;
template <typename Encoding, typename Allocator, typename StackAllocator>
class GenericDocument;
template <typename ValueType, typename Allocator>
class GenericSchemaDocument;

/// A JSON value, a whole document, and a compiled schema.
using Value = GenericValue<UTF8<char>, MemoryPoolAllocator<CrtAllocator>>;
using Document = GenericDocument<UTF8<char>, MemoryPoolAllocator<CrtAllocator>, CrtAllocator>;
using SchemaDocument = GenericSchemaDocument<Value, CrtAllocator>;

} // namespace rapidjson
