#include "stdlib/sys/signal.hpp"

#include "runtime/platform.hpp"
#include "runtime/signal.hpp"

namespace stdlib {

namespace {

uint32_t endings;  // ending signals that have arrived

void on_ending(int32_t signal) {
    if (__atomic_fetch_add(&endings, 1u, __ATOMIC_SEQ_CST) == 0) return;
    nolt_platform_before_fatal();
    nolt_signal_raise_default(signal);
}

}  // namespace

void signal_init() { nolt_signal_init(); }

bool signal_handle(int32_t signal) { return nolt_signal_set_handler(signal, nullptr) == 0; }

bool signal_received(int32_t signal) { return nolt_signal_check(signal) != 0; }

int32_t SIGHUP() { return nolt_SIGHUP(); }

bool signal_handle_ending(int32_t signal) { return nolt_signal_set_handler(signal, on_ending) == 0; }

void signal_end_with(int32_t signal) { nolt_signal_raise_default(signal); }

bool signal_handle_faults() { return nolt_signal_fatal_init() == 0; }

void set_fatal_hook(void (*hook)()) { nolt_platform_set_fatal_hook(hook); }

void run_fatal_hook() { nolt_platform_before_fatal(); }

}  // namespace stdlib
