#include "runtime/managed.hpp"

#include <stdio.h>
#include <stdlib.h>

#include <vector>

#include "runtime/platform.hpp"

namespace runtime {

// ---- Type records -------------------------------------------------------------------------

struct TypeProbe {
    const char* base;
    size_t size;
    std::vector<uint64_t> offsets;
};

__thread TypeProbe* active_probe;

void probe_record(const void* member) {
    const char* at = static_cast<const char*>(member);
    if (at >= active_probe->base && at < active_probe->base + active_probe->size)
        active_probe->offsets.push_back((uint64_t)(at - active_probe->base));
}

namespace {

[[noreturn]] void type_error(const char* what, const char* name) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[Heaps] FATAL: %s: %s\n", what, name);
    abort();
}

}  // namespace

// Runs the default constructor on zeroed scratch memory; every Member reports its offset.
const nolt_type* build_type(const TypeShape& shape) {
    if (active_probe) type_error("a default constructor used while building a type record allocated", shape.name);
    void* scratch = aligned_alloc(64, (shape.size + 63) / 64 * 64);
    memset(scratch, 0, shape.size);
    TypeProbe probe{static_cast<const char*>(scratch), shape.size, {}};
    active_probe = &probe;
    shape.construct(scratch);
    active_probe = nullptr;

    auto* type = static_cast<nolt_type*>(calloc(1, sizeof(nolt_type)));
    type->size = shape.size;
    type->name = shape.name;
    type->parent = shape.parent;
    type->vtable = shape.polymorphic ? *static_cast<void**>(scratch) : nullptr;
    free(scratch);

    uint64_t count = probe.offsets.size();
    auto* offsets = static_cast<uint64_t*>(calloc(count ? count : 1, sizeof(uint64_t)));
    for (uint64_t i = 0; i < count; i++) offsets[i] = probe.offsets[i];
    if (shape.variants == 0) {
        type->pointers = offsets;
        type->pointer_count = count;
        return type;
    }
    // A sum value keeps each variant's references at their own places, null while another
    // variant is active, so every tag traces the same entries.
    auto* entries = static_cast<nolt_trace_entry*>(calloc(count ? count : 1, sizeof(nolt_trace_entry)));
    for (uint64_t i = 0; i < count; i++) entries[i] = {offsets[i], nullptr};
    free(offsets);
    auto* variants = static_cast<nolt_variant*>(calloc((size_t)shape.variants, sizeof(nolt_variant)));
    for (int32_t tag = 0; tag < shape.variants; tag++) variants[tag] = {entries, count};
    type->variants = variants;
    type->variant_count = (uint64_t)shape.variants;
    return type;
}

// ---- Checks -------------------------------------------------------------------------------

void dead_reference(const void* reference) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[GC] FATAL: a handle or field refers to a reclaimed block at %p (a missed root)\n", reference);
    abort();
}

void bad_downcast(const void* object, const char* expected) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[Heaps] FATAL: a %s used as a %s\n", nolt_type_name_raw(object), expected);
    abort();
}

void unregistered_global(const void* address) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[Heaps] FATAL: global at %p assigned before it was registered as a root\n", address);
    abort();
}

// ---- Root cells ---------------------------------------------------------------------------

namespace {

constexpr uint32_t kChunkCells = 256;

// A thread's root store: chunks of cells, each chunk a shadow frame whose slots point at its
// cells. Chunks are linked at the bottom of the thread's frame chain, beneath any frames that
// code builds by hand, so those frames can still be pushed and popped in strict order.
struct RootStore {
    std::vector<nolt_gc_frame*> chunks;
    std::vector<void**> free_cells;

    void grow() {
        auto* frame = static_cast<nolt_gc_frame*>(calloc(1, sizeof(nolt_gc_frame) + kChunkCells * sizeof(void**)));
        auto** cells = static_cast<void**>(calloc(kChunkCells, sizeof(void*)));
        if (!frame || !cells) nolt_heaps_oom_abort("root_cell_acquire", kChunkCells * sizeof(void*));
        frame->slot_count = kChunkCells;
        for (uint32_t i = 0; i < kChunkCells; i++) frame->slots[i] = &cells[i];
        nolt_gc_frame** bottom = &__nolt_gc_top;
        while (*bottom) bottom = &(*bottom)->previous;
        *bottom = frame;
        chunks.push_back(frame);
        for (uint32_t i = kChunkCells; i-- > 0;) free_cells.push_back(&cells[i]);
    }

    ~RootStore() {
        for (nolt_gc_frame* chunk : chunks) {
            for (nolt_gc_frame** link = &__nolt_gc_top; *link; link = &(*link)->previous) {
                if (*link != chunk) continue;
                *link = chunk->previous;
                break;
            }
            free(chunk->slots[0]);
            free(chunk);
        }
    }
};

thread_local RootStore root_store;

}  // namespace

void** root_cell_acquire() {
    RootStore& store = root_store;
    if (store.free_cells.empty()) store.grow();
    void** cell = store.free_cells.back();
    store.free_cells.pop_back();
    return cell;
}

void root_cell_release(void** cell) {
    store_cell(cell, nullptr);
    root_store.free_cells.push_back(cell);
}

// ---- Allocation ---------------------------------------------------------------------------

void* allocate_object(const nolt_type* type) {
    void* object = nolt_heaps_new_object(type);
    if (!object) type_error("cannot allocate an instance of", type ? type->name : "<unknown>");
    return object;
}

void* allocate_array(uint64_t element_size, uint64_t count, const nolt_type* element_type, bool references) {
    if (references) return nolt_heaps_new_ptr_array(count);
    if (element_type->variant_count > 0) return nolt_heaps_new_enum_array(element_type, count);
    if (element_type->pointer_count > 0)
        type_error("an array element holds references but is not a sum value", element_type->name);
    return nolt_heaps_new_array(element_size, count);
}

Root<Text> make_text_buffer(uint64_t capacity) {
    return Root<Text>(reinterpret_cast<Text*>(nolt_string_alloc((int64_t)capacity)));
}

Root<Text> make_text(const char* bytes, size_t length) {
    Root<Text> text = make_text_buffer(length + 1);
    memcpy(text->bytes(), bytes, length);
    nolt_block_of(text.get())->string_length = (int32_t)length;
    return text;
}

Root<Text> make_text(const char* zero_terminated) {
    return Root<Text>(reinterpret_cast<Text*>(nolt_string_dup_c(zero_terminated)));
}

}  // namespace runtime

extern "C" void* nolt_type_name(const void* object) {
    // The caller roots the text at once; until then the thread's in-flight slot holds it.
    return runtime::make_text(nolt_type_name_raw(object)).get();
}
