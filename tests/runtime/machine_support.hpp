// Brings the machine layer up once per test process: its start-up measures the cycle counter
// for 100 ms.
#pragma once
#include "runtime/machine.hpp"

inline void machine_up() {
    static bool started = [] {
        nolt_machine_init();
        return true;
    }();
    (void)started;
}
