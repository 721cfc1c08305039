#pragma once

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>

namespace Tovra::Tests {

/// A stream's buffer that is interrupted by SIGTERM while it takes its first text, and while it is flushed first. Its
/// use by the signal's handler is said on the standard error descriptor: a real buffer's lock would be waited for.
class InterruptedBuffer final : public std::streambuf {
public:
    explicit InterruptedBuffer(std::ostream& stream) : m_stream(stream), m_previous(stream.rdbuf(this)) {}
    ~InterruptedBuffer() override { m_stream.rdbuf(m_previous); }
    InterruptedBuffer(const InterruptedBuffer&) = delete;
    InterruptedBuffer& operator=(const InterruptedBuffer&) = delete;

    const std::string& GetText() const { return m_text; }

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        Interrupt(m_isTextInterrupted);
        m_text.append(text, static_cast<std::size_t>(size));
        return size;
    }
    int sync() override {
        Interrupt(m_isFlushInterrupted);
        return 0;
    }

    void Interrupt(bool& isDone) {
        if (m_isInterrupted) {
            dprintf(STDERR_FILENO, "The handler uses the stream.\n");
        } else if (!std::exchange(isDone, true)) {
            m_isInterrupted = true;
            std::raise(SIGTERM);
            m_isInterrupted = false;
        }
    }

    std::ostream& m_stream;
    std::streambuf* m_previous;
    std::string m_text;
    bool m_isTextInterrupted = false;
    bool m_isFlushInterrupted = false;
    bool m_isInterrupted = false;
};

} // namespace Tovra::Tests
