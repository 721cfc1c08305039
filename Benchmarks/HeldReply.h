#pragma once

#include <cstdlib>
#include <memory>

namespace Tovra::Benchmarks {

/// A reply of the X server, which XCB hands over to the caller.
template <class Reply>
using HeldReply = std::unique_ptr<Reply, decltype(&std::free)>;

/// Holds a reply, which may be null.
template <class Reply>
HeldReply<Reply> Hold(Reply* reply) {
    return {reply, &std::free};
}

} // namespace Tovra::Benchmarks
