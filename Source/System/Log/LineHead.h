#pragma once

#include <System/Log/Line.h>
#include <System/Log/Streams.h>

#include <array>
#include <chrono>
#include <ctime>
#include <string_view>

namespace Tovra::System::Log {

/// Local time for `time`, in seconds since the epoch, in the time zone that the variable TZ names now. Any thread,
/// while no other thread changes the environment.
std::tm GetLocalTime(std::time_t time);

/// Appends a line's opening bracket, local time and fraction: "[2026-11-13T16:13:08.1234560". Local time is computed
/// once for a thread's lines of the same second, so a new time zone shows in the next second. Any thread.
void AppendTime(Line& line, std::chrono::system_clock::time_point time);

/// The part of a line between its time and its message, as a constant: "Z | System] Info: ". "Always" has no word.
/// Intentional: the Z is written although the time is local; readers of logs look for it.
template <StreamID stream, MessageType::ID type>
class LineOrigin {
public:
    /// The text; static.
    static constexpr std::string_view GetText() { return {s_characters.data(), s_size}; }

private:
    /// Writes the text and returns its length.
    static consteval std::size_t Compose(std::array<char, 64>& characters) {
        std::size_t size = 0;
        const auto append = [&](std::string_view text) consteval {
            for (const char character : text) {
                characters[size++] = character;
            }
        };
        append("Z | ");
        append(FindStreamName(stream));
        append("] ");
        if (type != MessageType::ID::Always) {
            append(messageTypeIDNames[static_cast<std::size_t>(type)]);
            append(": ");
        }
        return size;
    }

    static consteval std::array<char, 64> MakeCharacters() {
        std::array<char, 64> characters{};
        Compose(characters);
        return characters;
    }

    static consteval std::size_t MakeSize() {
        std::array<char, 64> characters{};
        return Compose(characters);
    }

    static constexpr std::array<char, 64> s_characters = MakeCharacters();
    static constexpr std::size_t s_size = MakeSize();
};

} // namespace Tovra::System::Log
