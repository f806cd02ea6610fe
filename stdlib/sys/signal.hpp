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

// A signal that asks the program to end: its flag is set like signal_handle's, and the loop ends
// on it. A second such signal before the process has ended means the loop is not getting round to
// it: the fatal hook runs and the signal ends the process at once.
bool signal_handle_ending(int32_t signal);
// Ends the process by `signal` as if it had never been handled: default action, raised.
void signal_end_with(int32_t signal);
// Fault signals run the fatal hook, then take their default action (see nolt_signal_fatal_init).
bool signal_handle_faults();
// What runs once before a fatal message or a fault signal ends the program; it must be
// async-signal-safe. Null removes it.
void set_fatal_hook(void (*hook)());
void run_fatal_hook();

}  // namespace stdlib
