#include "stdlib/sys/poll.hpp"

#include "runtime/signal.hpp"

namespace stdlib {

void poll_clear() { nolt_poll_clear(); }

int32_t poll_add(int32_t fd, int32_t events) { return nolt_poll_add(fd, events); }

int32_t poll_wait(int32_t timeout_ms) { return nolt_poll_wait(timeout_ms); }

bool poll_readable(int32_t slot) { return nolt_poll_has_event(slot, nolt_POLLIN()) != 0; }
bool poll_hung_up(int32_t slot) { return nolt_poll_has_event(slot, nolt_POLLHUP() | nolt_POLLERR()) != 0; }

int32_t POLLIN() { return nolt_POLLIN(); }

}  // namespace stdlib
