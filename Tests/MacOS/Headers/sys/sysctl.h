#pragma once

#include <MacOS/Declaring.h>
#include <sys/types.h>

#include <cstddef>

TOVRA_CONSTANT(int, CTL_KERN, 1);
TOVRA_CONSTANT(int, KERN_PROC, 14);
TOVRA_CONSTANT(int, KERN_PROC_ALL, 0);

#define TOVRA_FIELDS_OF_extern_proc(FIELD, PADDING)                                                                    \
    PADDING(40, 1) FIELD(extern_proc, pid_t, p_pid) PADDING(244, 2) FIELD(extern_proc, struct rusage*, p_ru)
TOVRA_STRUCTURE(extern_proc);

#define TOVRA_FIELDS_OF_kinfo_proc(FIELD, PADDING) FIELD(kinfo_proc, ::extern_proc, kp_proc) PADDING(352, 1)
TOVRA_STRUCTURE(kinfo_proc);

extern "C" {
int sysctl(int* name, unsigned int length, void* value, std::size_t* size, void* newValue, std::size_t newSize);
int sysctlbyname(const char* name, void* value, std::size_t* size, void* newValue, std::size_t newSize);
}
