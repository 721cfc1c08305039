#pragma once

#include <MacOS/Declaring.h>

using dispatch_queue_t = struct dispatch_queue_s*;
using dispatch_block_t = void (^)();

extern "C" {
void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block);
#ifndef __APPLE__
// The SDK's header defines it, with a result that converts to this one.
dispatch_queue_t dispatch_get_main_queue();
#endif
}
#ifdef __APPLE__
static_assert(std::is_convertible_v<decltype(dispatch_get_main_queue()), dispatch_queue_t>);
#endif
