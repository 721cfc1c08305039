#pragma once

#include <MacOS/Declaring.h>
#include <sys/types.h>

#include <cstdint>

TOVRA_CONSTANT(int, PROC_PIDTBSDINFO, 3);
// The smallest and the largest buffer for a path.
TOVRA_CONSTANT(int, PROC_PIDPATHINFO_SIZE, 1024);
TOVRA_CONSTANT(int, PROC_PIDPATHINFO_MAXSIZE, 4096);

#define TOVRA_FIELDS_OF_proc_bsdinfo(FIELD, PADDING)                                                                   \
    PADDING(20, 1)                                                                                                     \
    FIELD(proc_bsdinfo, uid_t, pbi_uid)                                                                                \
    PADDING(96, 2)                                                                                                     \
    FIELD(proc_bsdinfo, std::uint64_t, pbi_start_tvsec) FIELD(proc_bsdinfo, std::uint64_t, pbi_start_tvusec)
TOVRA_STRUCTURE(proc_bsdinfo);

extern "C" {
int proc_pidinfo(int id, int flavor, std::uint64_t argument, void* buffer, int size);
int proc_pidpath(int id, void* buffer, std::uint32_t size);
}
