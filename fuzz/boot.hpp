// Brings the runtime up once per fuzzing process, names the files a target rewrites at every input
// and checks invariants.
#pragma once
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "tests/support/runtime_up.hpp"

inline void fuzz_boot() { test_support::runtime_up(); }

// "<dir>/fuzz-<name>-<pid>", in memory when /dev/shm is there: a disk's truncating rewrites cost
// milliseconds each.
inline std::string fuzz_scratch(const char* name) {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(dir) + "/fuzz-" + name + "-" + std::to_string(getpid());
}

// Names the invariant that broke before aborting.
#define FUZZ_CHECK(holds)                                      \
    do {                                                       \
        if (!(holds)) {                                        \
            fprintf(stderr, "invariant broken: %s\n", #holds); \
            abort();                                           \
        }                                                      \
    } while (0)
