#pragma once

#include <cstddef>
#include <type_traits>

/// How the headers in this folder declare the types, numbers and functions of macOS that the host uses. On Linux the
/// macros declare them. On macOS, where the SDK has declared them before, they compare them with the SDK's; types by
/// name and functions are then just declared once more, which the compiler refuses if they differ.

#ifdef __APPLE__

/// An enumeration with its underlying type.
#define TOVRA_ENUM(Name, Underlying)                                                                                   \
    static_assert(std::is_enum_v<Name> && std::is_same_v<std::underlying_type_t<Name>, Underlying>)

/// A number, be it a macro or an enumerator.
#define TOVRA_CONSTANT(Type, name, ...)                                                                                \
    static_assert(std::is_convertible_v<decltype(name), Type> && static_cast<Type>(name) == (__VA_ARGS__))

/// The structure `Name`, whose fields the macro `TOVRA_FIELDS_OF_<Name>(FIELD, PADDING)` lists in their order:
/// `FIELD(Structure, Type, name)`, or `PADDING(size, number)` for bytes that the host does not use.
#define TOVRA_STRUCTURE(Name)                                                                                          \
    namespace Tovra::Tests::Declared {                                                                                 \
    struct Name {                                                                                                      \
        TOVRA_FIELDS_OF_##Name(TOVRA_DECLARED_FIELD, TOVRA_DECLARED_PADDING)                                           \
    };                                                                                                                 \
    }                                                                                                                  \
    static_assert(sizeof(Name) == sizeof(Tovra::Tests::Declared::Name));                                               \
    static_assert(alignof(Name) == alignof(Tovra::Tests::Declared::Name));                                             \
    TOVRA_FIELDS_OF_##Name(TOVRA_COMPARED_FIELD, TOVRA_COMPARED_PADDING) static_assert(true)

#define TOVRA_COMPARED_FIELD(Structure, Type, name)                                                                    \
    static_assert(offsetof(Structure, name) == offsetof(Tovra::Tests::Declared::Structure, name) &&                    \
                  std::is_same_v<decltype(Structure::name), Type>);
#define TOVRA_COMPARED_PADDING(size, number)

/// A function that the SDK's header defines.
#define TOVRA_INLINE_FUNCTION(Result, name, parameters, ...)                                                           \
    static_assert(std::is_convertible_v<decltype(&(name)), Result(*) parameters>)

#else

#define TOVRA_ENUM(Name, Underlying) enum Name : Underlying {}
#define TOVRA_CONSTANT(Type, name, ...) inline constexpr Type name = static_cast<Type>(__VA_ARGS__)
#define TOVRA_STRUCTURE(Name)                                                                                          \
    struct Name {                                                                                                      \
        TOVRA_FIELDS_OF_##Name(TOVRA_DECLARED_FIELD, TOVRA_DECLARED_PADDING)                                           \
    }
#define TOVRA_INLINE_FUNCTION(Result, name, parameters, ...) inline Result name parameters __VA_ARGS__

#endif

#define TOVRA_DECLARED_FIELD(Structure, Type, name) Type name;
#define TOVRA_DECLARED_PADDING(size, number) unsigned char padding##number[size];
