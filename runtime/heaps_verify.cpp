// Checks of a quiet heap: the validation walk over regions and free lists, the statistics, and
// the liveness test behind the verification mode.
#include <stdio.h>

#include "runtime/heaps_internal.hpp"

using namespace heap;

extern "C" {

bool nolt_heaps_validate(void) {
    if (!heap_initialized) {
        printf("[Validate] Heap not initialized\n");
        return false;
    }
    bool sound = true;
    int total = 0, free_blocks = 0, listed = 0;
    size_t total_size = 0, free_size = 0;
    for (nolt_region* r = memory_block_head; r; r = r->next) {
        if (sw.debug_validate) printf("[Validate] Checking memory region %p - %p\n", (void*)r->first_block, (void*)r->end);
        char* last_end = (char*)r->first_block;
        for (char* p = (char*)r->first_block; p < r->end;) {
            nolt_block* b = (nolt_block*)p;
            if (b->block_size == 0) {
                if (p + NOLT_HEADER_SIZE < r->end) {
                    printf("[Validate] ERROR: Zero-size block at %p (not at end)\n", (void*)p);
                    sound = false;
                }
                break;
            }
            if (b->block_size < NOLT_HEADER_SIZE) {
                printf("[Validate] ERROR: Block size too small at %p: %zu\n", (void*)p, (size_t)b->block_size);
                sound = false;
                break;
            }
            if (b->block_size > (uint64_t)(r->end - p)) {
                printf("[Validate] ERROR: Block at %p exceeds region (size=%zu)\n", (void*)p, (size_t)b->block_size);
                sound = false;
                break;
            }
            if (p < last_end) {
                printf("[Validate] ERROR: Block overlap at %p\n", (void*)p);
                sound = false;
            }
            total++;
            total_size += b->block_size;
            if (is_free(b)) {
                free_blocks++;
                free_size += b->block_size;
                if (b->mark) printf("[Validate] WARNING: Free block at %p has mark=%lu\n", (void*)p, (unsigned long)b->mark);
            } else if (!b->type) {
                printf("[Validate] WARNING: Block at %p has NULL type (not free sentinel)\n", (void*)p);
            } else if (b->type != &array_type_sentinel && !(b->flags & NOLT_FLAG_SUM_ARRAY) &&
                       (b->type->size == 0 || b->type->size > 1048576)) {
                printf("[Validate] WARNING: Suspicious type size at %p: %zu\n", (void*)p, (size_t)b->type->size);
            }
            if (b->mark > current_mark_value) {
                printf("[Validate] ERROR: Mark value too high at %p: %lu > %lu\n", (void*)p, (unsigned long)b->mark,
                       (unsigned long)current_mark_value);
                sound = false;
            }
            last_end = p + b->block_size;
            p += b->block_size;
        }
    }
    for (int cls = 0; cls < NOLT_FREE_LIST_COUNT; cls++) {
        int n = 0;
        for (nolt_block* b = free_lists[cls]; b; b = free_next(b)) {
            if (++n > 10000) {
                printf("[Validate] ERROR: Free list class %d too long or has cycle\n", cls);
                sound = false;
                break;
            }
            listed++;
            if (!is_free(b)) {
                printf("[Validate] ERROR: Non-free block in free list class %d at %p\n", cls, (void*)b);
                sound = false;
            } else if (cls != 15 && nolt_heaps_size_class(b->block_size) != cls) {
                printf("[Validate] ERROR: Block size %zu in class %d, expected class %d at %p\n", (size_t)b->block_size,
                       cls, nolt_heaps_size_class(b->block_size), (void*)b);
                sound = false;
            }
            if (free_next(b) == b) {
                printf("[Validate] ERROR: Self-cycle in free list class %d at %p\n", cls, (void*)b);
                sound = false;
                break;
            }
        }
    }
    if (!sound || sw.debug_validate) {
        printf("[Validate] Heap statistics:\n");
        printf("  Total blocks: %d\n", total);
        printf("  Free blocks: %d (lists have %d)\n", free_blocks, listed);
        printf("  Allocated blocks: %d\n", total - free_blocks);
        printf("  Total size: %zu bytes\n", total_size);
        printf("  Free size: %zu bytes\n", free_size);
        printf("  Allocated size: %zu bytes\n", total_size - free_size);
        printf("  Current mark value: %lu\n", (unsigned long)current_mark_value);
    }
    return sound;
}

void nolt_heaps_dump_stats(void) {
    if (!sw.verbose) return;
    printf("[Heaps] Statistics:\n");
    printf("  Collections: %llu\n", (unsigned long long)gc_stats.collections);
    printf("  Marked: %llu\n", (unsigned long long)gc_stats.marked);
    printf("  Swept: %llu\n", (unsigned long long)gc_stats.swept);
    printf("  Allocated: %llu bytes\n", (unsigned long long)gc_stats.total_allocated);
    printf("  Freed: %llu bytes\n", (unsigned long long)gc_stats.total_freed);
    printf("  Live: %llu bytes\n", (unsigned long long)gc_stats.live_bytes);
}

bool nolt_heaps_is_live(const void* reference) {
    if (!reference) return true;
    if (!region_of(reference)) return true;  // literals and static data
    const nolt_block* block = nolt_block_of(reference);
    if (!block->type || is_free(block)) return false;
    // While another thread collects, this thread may run until it is stopped: its blocks carry
    // the mark value from before the cycle began.
    uint64_t current = __atomic_load_n(&current_mark_value, __ATOMIC_SEQ_CST);
    bool collecting = __atomic_load_n(&gc_in_progress, __ATOMIC_SEQ_CST);
    return block->mark == current || (collecting && block->mark + 1 == current);
}

}  // extern "C"
