#include "stdlib/sys/signal.hpp"

#include "runtime/signal.hpp"

namespace stdlib {

void signal_init() { nolt_signal_init(); }

bool signal_handle(int32_t signal) { return nolt_signal_set_handler(signal, nullptr) == 0; }

bool signal_received(int32_t signal) { return nolt_signal_check(signal) != 0; }

int32_t SIGHUP() { return nolt_SIGHUP(); }

}  // namespace stdlib
