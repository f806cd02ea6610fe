// sys.signal: signal flags for the event loop. A handled signal only sets its flag; the loop
// asks for it with signal_received.
#pragma once
#include <stdint.h>

// The C library spells SIGHUP as a macro, which would swallow the function of the same name.
// Its header is taken in here first, so that a later include cannot bring the macro back, and
// the macro is removed: code that includes this header writes SIGHUP() or nolt_SIGHUP().
#include <signal.h>
#undef SIGHUP

namespace stdlib {

void signal_init();
bool signal_handle(int32_t signal);    // installs the runtime's flag handler, no user function
bool signal_received(int32_t signal);  // true once per batch of arrivals, clearing the flag
int32_t SIGHUP();

}  // namespace stdlib
