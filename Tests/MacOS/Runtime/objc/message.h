#pragma once

#include <objc/runtime.h>

extern "C" {
// Not callable by this type.
void objc_msgSend();
}
