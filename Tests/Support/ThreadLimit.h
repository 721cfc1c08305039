#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

namespace Tovra::Tests {

/// From now on this process can make no threads, as at the limit of processes: their stacks would be greater than the
/// address space.
inline void RefuseThreads() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 47);
    EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
    pthread_attr_destroy(&attributes);
}

} // namespace Tovra::Tests
