#include "kestrum/syntax.hpp"

namespace kestrum {

runtime::Global<runtime::Array<runtime::Member<Lang>>> g_langs;
runtime::Global<runtime::Array<runtime::Member<runtime::Text>>> g_extra;

}  // namespace kestrum
