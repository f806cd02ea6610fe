// A fuzz input read as a script: the input's own bytes drive every choice; past its end they
// read as 0.
#pragma once
#include <stddef.h>
#include <stdint.h>

struct Reader {
    const uint8_t* data;
    size_t size;
    size_t at = 0;

    bool more() const { return at < size; }
    uint32_t byte() { return at < size ? data[at++] : 0; }
    uint32_t below(uint32_t n) { return byte() % n; }
    // The next n bytes, fewer at the end.
    size_t take(size_t n) {
        n = n < size - at ? n : size - at;
        at += n;
        return n;
    }
};
