// Reads arbitrary bytes as a language definition and highlights lines with it. The input is the
// definition, a line "%%" and the lines to highlight; without that line the definition's own text
// is highlighted. Nothing may crash or hang, the record must keep to every limit, and after each
// line the stack must hold between 1 and max_stack() entries, the start context at the bottom and
// only existing contexts above it.
#include <stdint.h>
#include <stdlib.h>

#include <string_view>

#include "fuzz/boot.hpp"
#include "kestrum/syntax.hpp"

using namespace kestrum;
using namespace stdlib;

namespace {

void check(bool holds) {
    if (!holds) abort();
}

string text_of(std::string_view bytes) { return from_bytes(bytes.data(), (int32_t)bytes.size()); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_boot();
    if (size > 1 << 16) return 0;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    size_t split = input.find("\n%%\n");
    std::string_view lines = split == std::string_view::npos ? input : input.substr(split + 4);
    Root<Lang> lang = parse_lang(text_of(input.substr(0, split)));
    check(lang->ext_count <= max_ext() && lang->filename_count <= max_ext() && lang->list_count <= max_lists() &&
          lang->item_count <= max_item_data() && lang->ctx_count <= max_ctx());
    for (int32_t c = 0; c < lang->ctx_count; c++) check(lang->contexts[c]->rule_count <= max_rules());

    Root<CellBuffer> buf = cellbuf_create(64, 1);
    Root<SyntaxScheme> scheme = scheme_default();
    HlStack stack = empty_stack();
    for (size_t start = 0; start <= lines.size();) {
        size_t end = lines.find('\n', start);
        if (end == std::string_view::npos) end = lines.size();
        int32_t x = (int32_t)(start % 11) - 5;  // pens left of the clip and off the tab grid too
        stack = apply_line(lang, text_of(lines.substr(start, end - start)), stack, buf, x, 0, scheme,
                           rect(2, 0, 60, 1), true);
        check(stack.depth >= 1 && stack.depth <= max_stack() && stack.ctxs[0] == 0);
        for (int32_t i = 1; i < stack.depth; i++) check(stack.ctxs[i] >= 0 && stack.ctxs[i] < lang->ctx_count);
        start = end + 1;
    }
    return 0;
}
