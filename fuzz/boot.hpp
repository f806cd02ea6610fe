// Brings the runtime up once per fuzzing process, in the order the program's entry uses.
#pragma once
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"

inline void fuzz_boot() {
    static bool up = [] {
        nolt_machine_init();
        nolt_heaps_init();
        nolt_objects_init();
        static int marker;
        nolt_objects_register_main_process(&marker);
        return true;
    }();
    (void)up;
}
