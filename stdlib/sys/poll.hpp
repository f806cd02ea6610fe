// sys.poll: the calling thread's poll set, at most 64 descriptors.
#pragma once
#include <stdint.h>

// The C library spells POLLIN as a macro, which would swallow the function of the same name.
// Its header is taken in here first, so that a later include cannot bring the macro back, and
// the macro is removed: code that includes this header writes POLLIN() or nolt_POLLIN().
#include <poll.h>
#undef POLLIN

namespace stdlib {

void poll_clear();
int32_t poll_add(int32_t fd, int32_t events);  // the slot, or -1 if the set is full
int32_t poll_wait(int32_t timeout_ms);  // number ready; 0 on timeout or signal; -1 on error
bool poll_readable(int32_t slot);       // false for a slot out of range
bool poll_hung_up(int32_t slot);        // POLLHUP or POLLERR; false for a slot out of range
int32_t POLLIN();

}  // namespace stdlib
