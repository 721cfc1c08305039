#pragma once

#include <cstddef>
#include <iostream>

namespace Tovra::Tests::Fuzz {

/// Counts something that a target has to come across, such as a text that is valid. Counts are printed when the process
/// ends, and Scripts/fuzz fails if one is 0. Static objects, so that those that never happened are known.
class Outcome {
public:
    /// `name` is static text.
    explicit Outcome(const char* name) : m_name(name) {}
    ~Outcome() { std::cerr << "Outcome: " << m_count << ' ' << m_name << std::endl; }
    Outcome(const Outcome&) = delete;
    Outcome& operator=(const Outcome&) = delete;

    /// Counts, and passes on, whether it happened.
    bool Note(bool happened = true) {
        m_count += happened ? 1 : 0;
        return happened;
    }

private:
    const char* m_name;
    std::size_t m_count = 0;
};

} // namespace Tovra::Tests::Fuzz
