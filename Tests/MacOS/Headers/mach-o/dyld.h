#pragma once

#include <cstdint>

extern "C" {
int _NSGetExecutablePath(char* buffer, std::uint32_t* size);
}
