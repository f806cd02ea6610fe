// Finalizers: a chained hash table from object to function, run by the sweep just before a block
// is reclaimed, with the allocation lock held.
#include <stdio.h>
#include <stdlib.h>

#include "runtime/heaps_internal.hpp"
#include "runtime/objects.hpp"

namespace heap {

__thread bool in_finalizer;

namespace {

constexpr int kFinalizerStaticBuckets = 64;

struct FinalizerNode {
    void* object;
    nolt_finalizer_fn function;
    FinalizerNode* next;
};
FinalizerNode* finalizer_static_buckets[kFinalizerStaticBuckets];
FinalizerNode** finalizer_buckets = finalizer_static_buckets;
uint64_t finalizer_bucket_count = kFinalizerStaticBuckets;
int finalizer_bucket_shift = 6;
FinalizerNode* finalizer_free_head;
uint64_t finalizer_registered, finalizer_pooled, finalizer_nodes_allocated, finalizer_probe_steps;

uint64_t finalizer_hash(const void* object, int shift) {
    return (((uint64_t)(uintptr_t)object >> 6) * 0x9e3779b97f4a7c15ULL) >> (64 - shift);
}

FinalizerNode* unlink_finalizer(void* object) {
    FinalizerNode** link = &finalizer_buckets[finalizer_hash(object, finalizer_bucket_shift)];
    for (; *link; link = &(*link)->next) {
        finalizer_probe_steps++;
        if ((*link)->object != object) continue;
        FinalizerNode* node = *link;
        *link = node->next;
        node->next = finalizer_free_head;
        finalizer_free_head = node;
        finalizer_registered--;
        finalizer_pooled++;
        return node;
    }
    return nullptr;
}

// Grows the table when it holds more entries than buckets; returns a table to free later.
FinalizerNode** grow_finalizer_table() {
    if (finalizer_registered <= finalizer_bucket_count) return nullptr;
    uint64_t count = finalizer_bucket_count * 2;
    auto** table = (FinalizerNode**)calloc(count, sizeof(FinalizerNode*));
    if (!table) return nullptr;
    int shift = finalizer_bucket_shift + 1;
    for (uint64_t i = 0; i < finalizer_bucket_count; i++) {
        for (FinalizerNode* n = finalizer_buckets[i]; n;) {
            FinalizerNode* next = n->next;
            uint64_t h = finalizer_hash(n->object, shift);
            n->next = table[h];
            table[h] = n;
            n = next;
        }
    }
    FinalizerNode** old = finalizer_buckets;
    finalizer_buckets = table;
    finalizer_bucket_count = count;
    finalizer_bucket_shift = shift;
    return old == finalizer_static_buckets ? nullptr : old;
}

}  // namespace

void execute_finalizer(void* object) {
    FinalizerNode* node = unlink_finalizer(object);
    if (!node || !node->function) return;
    bool was = in_finalizer;
    in_finalizer = true;
    nolt_owner_finalizer_enter();
    node->function(object);
    nolt_owner_finalizer_leave();
    in_finalizer = was;
}

void finalizer_table_reset() {
    if (finalizer_buckets != finalizer_static_buckets) free(finalizer_buckets);
    finalizer_buckets = finalizer_static_buckets;
    finalizer_bucket_count = kFinalizerStaticBuckets;
    finalizer_bucket_shift = 6;
}

}  // namespace heap

using namespace heap;

extern "C" {

void nolt_heaps_add_finalizer(void* object, nolt_finalizer_fn function) {
    if (!object || !function) return;
    lock_alloc();
    FinalizerNode* node = nullptr;
    for (FinalizerNode* n = finalizer_buckets[finalizer_hash(object, finalizer_bucket_shift)]; n; n = n->next) {
        finalizer_probe_steps++;
        if (n->object == object) {
            node = n;
            break;
        }
    }
    if (!node) {
        if (finalizer_free_head) {
            node = finalizer_free_head;
            finalizer_free_head = node->next;
            finalizer_pooled--;
        } else {
            node = (FinalizerNode*)calloc(1, sizeof(FinalizerNode));
            if (!node) {
                unlock_alloc();
                nolt_heaps_oom_abort("nolt_heaps_add_finalizer", 24);
            }
            finalizer_nodes_allocated++;
        }
        node->object = object;
        FinalizerNode*& head = finalizer_buckets[finalizer_hash(object, finalizer_bucket_shift)];
        node->next = head;
        head = node;
        finalizer_registered++;
    }
    node->function = function;
    nolt_block* block = nolt_block_of(object);
    block->flags |= NOLT_FLAG_FINALIZER;
    FinalizerNode** old = grow_finalizer_table();
    unlock_alloc();
    free(old);
    if (sw.debug_gc)
        printf("[GC] Added finalizer to object at %p, block at %p, flags now 0x%x\n", object, (void*)block,
               block->flags);
}

void nolt_heaps_remove_finalizer(void* object) {
    if (!object) return;
    lock_alloc();
    unlink_finalizer(object);
    nolt_block_of(object)->flags &= ~(uint32_t)NOLT_FLAG_FINALIZER;
    unlock_alloc();
}

void nolt_heaps_finalizer_stats(uint64_t out[5]) {
    bool up = heap_initialized;
    out[0] = up ? finalizer_registered : 0;
    out[1] = up ? finalizer_pooled : 0;
    out[2] = up ? finalizer_nodes_allocated : 0;
    out[3] = up ? finalizer_bucket_count : 0;
    out[4] = up ? finalizer_probe_steps : 0;
}

void nolt_heaps_finalizer_alloc_abort(void) {
    fatal_write(
        "[Heaps] FATAL: a finalizer allocated from the GC heap.\n"
        "  Nolt's finalizer no-allocation rule (see \"finalize()\" in\n"
        "  docs/language/reference/045_ACTIVE_OBJECTS.md): a finalize()\n"
        "  body must not allocate. It runs on the reclaim path with the\n"
        "  heap allocation lock already held, so an allocation there\n"
        "  deadlocks the process instead of failing.\n"
        "  Constructs that allocate, and are therefore forbidden inside\n"
        "  finalize(): new; string concatenation and \"${...}\"\n"
        "  interpolation; array, map and set literals; a closure that\n"
        "  captures a 'mut' binding (the capture box is allocated where\n"
        "  the 'mut' is DECLARED, even if the closure itself is never\n"
        "  built); and any call that reaches one of these.\n"
        "  Release external resources only.\n");
    abort();
}

}  // extern "C"
