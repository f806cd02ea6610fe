// Wall-clock time for programs: whole seconds and the millisecond part.
#pragma once
#include "runtime/builtins.hpp"

namespace stdlib {

inline int64_t time_now() { return nolt_time(); }
inline int32_t time_subsec_millis() { return nolt_time_subsec_millis(); }

}  // namespace stdlib
