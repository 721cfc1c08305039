#pragma once

#include <System/Log/Line.h>
#include <System/Log/Streams.h>

#include <array>
#include <chrono>
#include <ctime>
#include <string_view>

namespace Tovra::System::Log {

/// The time of the place at a moment, in the time zone that the variable TZ names now. Any thread, while no other one
/// changes the environment.
std::tm GetLocalTime(std::time_t time);

/// Appends a line's bracket, time and fraction: "[2026-11-13T16:13:08.1234560". The time is the place's, as it was when
/// the thread's first line of that second was made. Any thread.
void AppendTime(Line& line, std::chrono::system_clock::time_point time);

/// What stands between a line's time and its message, as a text of the program: "Z | System] Info: ". The Z is meant
/// although the time is the place's: whoever reads logs looks for it. "Always" has no word.
template <StreamID stream, MessageType::ID type>
class LineOrigin {
public:
    static constexpr std::string_view GetText() { return {s_characters.data(), s_size}; }

private:
    /// Writes the text and gives its length.
    static constexpr std::size_t Compose(std::array<char, 64>& characters) {
        std::size_t size = 0;
        const auto append = [&](std::string_view text) {
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

    static constexpr std::array<char, 64> MakeCharacters() {
        std::array<char, 64> characters{};
        Compose(characters);
        return characters;
    }

    static constexpr std::size_t MakeSize() {
        std::array<char, 64> characters{};
        return Compose(characters);
    }

    static constexpr std::array<char, 64> s_characters = MakeCharacters();
    static constexpr std::size_t s_size = MakeSize();
};

} // namespace Tovra::System::Log
