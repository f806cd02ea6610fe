// Brings the runtime up once per process, in the order the program's entry uses. Shared by the
// tests, the benchmarks and the fuzz targets.
#pragma once
#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/objects.hpp"

namespace test_support {

inline void runtime_up() {
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

}  // namespace test_support
