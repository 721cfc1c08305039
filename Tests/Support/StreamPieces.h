#pragma once

#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// Captures what is written to a stream during the object's life: one text for each call of the stream's buffer.
class StreamPieces final : public std::streambuf {
public:
    explicit StreamPieces(std::ostream& stream) : m_stream(stream), m_previous(stream.rdbuf(this)) {}
    ~StreamPieces() override { m_stream.rdbuf(m_previous); }
    StreamPieces(const StreamPieces&) = delete;
    StreamPieces& operator=(const StreamPieces&) = delete;

    const std::vector<std::string>& Get() const { return m_pieces; }

    /// How many texts were followed by a flush.
    std::size_t GetFlushedCount() const { return m_flushedCount; }

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        m_pieces.emplace_back(text, static_cast<std::size_t>(size));
        return size;
    }
    int_type overflow(int_type character) override {
        m_pieces.emplace_back(1, traits_type::to_char_type(character));
        return character;
    }
    int sync() override {
        m_flushedCount = m_pieces.size();
        return 0;
    }

    std::ostream& m_stream;
    std::streambuf* m_previous;
    std::vector<std::string> m_pieces;
    std::size_t m_flushedCount = 0;
};

} // namespace Tovra::Tests
