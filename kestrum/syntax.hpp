// The catalog of language definitions, made at program start and filled from syntax.d directories.
#pragma once
#include "stdlib/core/str.hpp"

namespace kestrum {

class Lang;

inline constexpr int32_t MAX_LANGS = 32;
inline constexpr int32_t MAX_EXTRA_DIRS = 8;

// Language definitions by index, and the extra directories to load them from.
extern runtime::Global<runtime::Array<runtime::Member<Lang>>> g_langs;
extern runtime::Global<runtime::Array<runtime::Member<runtime::Text>>> g_extra;

}  // namespace kestrum
