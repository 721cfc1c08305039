#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace Tovra::Tests {

/// Counts the calls of a seam's functions, named by an enumeration, and makes chosen ones fail.
template <class Function>
class CallFailures {
public:
    /// Makes the call of that number (from 1) of that function give `result`, with `error` in `errno`.
    void Fail(Function function, unsigned number, std::int64_t result, int error) {
        m_failures[{function, number}] = {result, error};
    }

    /// Counts a call. If it is to fail, sets `errno` and gives the result.
    std::optional<std::int64_t> Count(Function function) {
        const auto failure = m_failures.find({function, ++m_counts[function]});
        if (failure == m_failures.end()) {
            return std::nullopt;
        }
        errno = failure->second.second;
        return failure->second.first;
    }

    /// How many calls of that function were made.
    unsigned GetCount(Function function) const {
        const auto count = m_counts.find(function);
        return count == m_counts.end() ? 0 : count->second;
    }

private:
    std::map<Function, unsigned> m_counts;
    std::map<std::pair<Function, unsigned>, std::pair<std::int64_t, int>> m_failures;
};

} // namespace Tovra::Tests
