// The collector: a stop-the-world precise mark from the root tables, the global roots and every
// registered thread's shadow frames, then a lazy sweep that later allocations run in pieces.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "runtime/heaps_internal.hpp"
#include "runtime/objects.hpp"

namespace heap {

nolt_machine_lock* gc_lock;
volatile int32_t gc_collector_owner;
nolt_block* volatile mark_stack_top;
nolt_region* sweep_mem_block;
char* sweep_block_adr;
uint64_t sweep_mark_value;
bool sweep_epoch_clean;
RootTable* root_list_head;
GlobalRoot* global_root_list_head;

namespace {

constexpr uint64_t kDeadPattern = 0xdeaddeaddeaddeadULL;

uint64_t marked_live_bytes;

void mark_object(void* reference) {
    nolt_region* region = region_of(reference);
    if (!region || (char*)reference - NOLT_HEADER_SIZE < (char*)region->first_block) return;
    nolt_block* block = nolt_block_of(reference);
    if (!block->type || is_free(block)) return;
    if (block->block_size == 0 || block->block_size > kMaxMarkableBlock) {
        if (getenv("NOLT_GC_STRICT")) {
            fatal_write("[GC] FATAL: corrupt block header during mark (NOLT_GC_STRICT)\n");
            abort();
        }
        return;
    }
    if (block->mark >= current_mark_value) return;
    block->mark = current_mark_value;
    gc_stats.marked++;
    marked_live_bytes += block->block_size;
    nolt_heaps_mark_stack_push(block);
}

void trace_entries(char* base, const nolt_trace_entry* entries, uint64_t count) {
    for (uint64_t i = 0; i < count; i++) {
        char* place = base + entries[i].offset;
        const nolt_type* type = entries[i].type;
        if (!type) {
            if (void* reference = *(void**)place) mark_object(reference);
            continue;
        }
        int32_t tag = *(int32_t*)place;
        if (type->variants && tag >= 0 && (uint64_t)tag < type->variant_count) {
            trace_entries(place, type->variants[tag].entries, type->variants[tag].entry_count);
        } else if (type->variants && getenv("NOLT_GC_STRICT")) {
            fatal_write("[GC] FATAL: enum tag out of range during mark (NOLT_GC_STRICT)\n");
            abort();
        }
    }
}

void trace_block(nolt_block* block) {
    const nolt_type* type = block->type;
    if (!type) return;
    char* base = (char*)payload(block);
    if (block->flags & NOLT_FLAG_SUM_ARRAY) {
        // The type describes one element: each element is traced by its own tag.
        if (type->size == 0 || block->array_length == 0 || type->variant_count == 0) return;
        nolt_trace_entry whole = {0, type};
        for (uint64_t i = 0; i < block->array_length; i++) trace_entries(base + i * type->size, &whole, 1);
        return;
    }
    for (uint64_t i = 0; i < type->pointer_count; i++)
        if (void* reference = *(void**)(base + type->pointers[i])) mark_object(reference);
    trace_entries(base, type->entries, type->entry_count);
    if (block->flags & NOLT_FLAG_POINTER_ARRAY)
        for (uint64_t i = 0; i < block->array_length; i++)
            if (void* reference = ((void**)base)[i]) mark_object(reference);
}

// Reclaims one dead block's accounting; the caller turns it into free space.
inline __attribute__((always_inline)) void reclaim_dead(nolt_block* block) {
    gc_stats.swept++;
    gc_stats.total_freed += block->block_size;
    if (nolt_owner_harness_on.load(std::memory_order_relaxed)) nolt_owner_purge(payload(block));
    if (block->flags & NOLT_FLAG_FINALIZER) {
        execute_finalizer(payload(block));
        block->flags &= ~(uint32_t)NOLT_FLAG_FINALIZER;
    }
}

void unlist_region_blocks(nolt_region* region) {
    for (int cls = 0; cls < NOLT_FREE_LIST_COUNT; cls++) {
        nolt_block** link = &free_lists[cls];
        while (*link) {
            nolt_block* b = *link;
            if ((char*)b >= (char*)region->first_block && (char*)b < region->end) *link = free_next(b);
            else link = &free_next(b);
        }
        set_list_head(cls, free_lists[cls]);
    }
}

bool region_wholly_free(nolt_region* region) {
    for (char* p = (char*)region->first_block; p < region->end;) {
        nolt_block* b = (nolt_block*)p;
        if (b->block_size == 0 || b->block_size > (uint64_t)(region->end - p)) return false;
        if (!is_free(b) || (b->flags & NOLT_FLAG_FINALIZER)) return false;
        p += b->block_size;
    }
    return true;
}

uint64_t region_count() {
    uint64_t n = 0;
    for (nolt_region* r = memory_block_head; r; r = r->next) n++;
    return n;
}

// Puts the sweep cursor at the first block of the first region, for the current mark value.
void restart_sweep() {
    sweep_mem_block = memory_block_head;
    sweep_block_adr = sweep_mem_block ? (char*)sweep_mem_block->first_block : nullptr;
    sweep_mark_value = current_mark_value;
    sweep_epoch_clean = false;
}

// One piece of the lazy sweep: a walk that joins blocks that died in this cycle into runs and
// stops at the first run that satisfies the request.
struct SweepPiece {
    uint64_t size;
    char* run_start = nullptr;
    uint64_t run_size = 0;
    uint64_t visited = 0;
    bool reclaimed = false;  // in the region being walked

    // Turns the open run into one free block; returns it, with `cursor` behind it, if it
    // satisfies the request, else lists it.
    nolt_block* close_run(char*& cursor) {
        if (!run_start) return nullptr;
        nolt_block* block = (nolt_block*)run_start;
        make_free(block, run_size);
        run_start = nullptr;
        if (run_size >= size) {
            cursor = (char*)block + run_size;
            split_block(block, size);
            return block;
        }
        add_to_free_list(block);
        return nullptr;
    }

    void extend_run(nolt_block* dead) {
        reclaim_dead(dead);
        reclaimed = true;
        if (!run_start) run_start = (char*)dead, run_size = 0;
        run_size += dead->block_size;
    }

    // Walks `region` from `p`: a block that satisfies the request with `p` behind it, or null
    // once the region is finished.
    nolt_block* walk(nolt_region* region, char*& p) {
        while (p < region->end) {
            nolt_block* b = (nolt_block*)p;
            uint64_t remaining = (uint64_t)(region->end - p);
            visited++;
            if (b->block_size > remaining) break;
            read_ahead(b, b->block_size);
            if (b->block_size == 0) {
                if (nolt_block* found = close_run(p)) return found;
                if (remaining >= NOLT_HEADER_SIZE) {
                    make_free(b, remaining);
                    add_to_free_list(b);
                }
                return nullptr;
            }
            if (is_dead(b)) {
                extend_run(b);
            } else if (nolt_block* found = close_run(p)) {
                return found;
            }
            p += b->block_size;
        }
        return close_run(p);
    }
};

// Moves the cursor past a finished region and gives the region back if this piece left it
// wholly free, unless it is the only one, the newest, or the one the cursor moves to.
void finish_region(nolt_region* region, bool reclaimed) {
    sweep_mem_block = region->next;
    sweep_block_adr = sweep_mem_block ? (char*)sweep_mem_block->first_block : nullptr;
    if (!reclaimed || region_count() < 2 || region == current_mem_block || region == sweep_mem_block) return;
    if (!region_wholly_free(region)) return;
    unlist_region_blocks(region);
    nolt_machine_release_memory_block(region);
}

void warn_noop_once(const char* text) {
    if (warned_noop || !sw.verbose) return;
    warned_noop = true;
    fprintf(stderr, "%s\n", text);
}

}  // namespace

nolt_block* lazy_sweep(uint64_t size) {
    if (sweep_epoch_clean && sweep_mark_value == current_mark_value) return nullptr;
    uint64_t start = now_us();
    if (!sweep_mem_block || sweep_mark_value < current_mark_value) restart_sweep();
    SweepPiece piece{size};
    nolt_block* found = nullptr;
    while (sweep_mem_block && !found) {
        char* p = sweep_block_adr;
        found = piece.walk(sweep_mem_block, p);
        if (found) {
            sweep_block_adr = p;
        } else {
            finish_region(sweep_mem_block, piece.reclaimed);
            piece.reclaimed = false;
        }
    }
    if (!found && !sweep_mem_block) sweep_epoch_clean = true;
    uint32_t took = (uint32_t)(now_us() - start);
    gc_stats.sweep_quanta++;
    gc_stats.sweep_blocks += piece.visited;
    gc_stats.last_sweep_us = took;
    if (took > gc_stats.sweep_max_us) gc_stats.sweep_max_us = took;
    return found;
}

// The eager sweep: rebuilds every free list over all regions, merging adjacent dead and free
// blocks. Called with both collector locks held.
void sweep_all_locked() {
    clear_free_lists();
    for (nolt_region* r = memory_block_head; r; r = r->next) {
        if (sw.debug_gc) printf("[GC] Scanning memory region %p - %p\n", (void*)r->first_block, (void*)r->end);
        char* run = nullptr;
        uint64_t run_size = 0;
        auto close = [&] {
            if (!run) return;
            make_free((nolt_block*)run, run_size);
            add_to_free_list((nolt_block*)run);
            run = nullptr;
        };
        char* p = (char*)r->first_block;
        while (p < r->end) {
            nolt_block* b = (nolt_block*)p;
            uint64_t remaining = (uint64_t)(r->end - p);
            if (b->block_size == 0 || b->block_size > remaining) {
                if (sw.debug_gc) printf("[GC] Warning: Found block with size=0 at %p, treating rest as free\n", (void*)p);
                if (!run) run = p, run_size = 0;
                run_size += remaining;
                break;
            }
            uint64_t size = b->block_size;
            if (sw.debug_gc)
                printf("[GC] Scanning block at %p: size=%zu, type=%p (%s), mark=%lu, flags=0x%x\n", (void*)b,
                       (size_t)size, (const void*)b->type, b->type && b->type->name ? b->type->name : "<unknown>",
                       (unsigned long)b->mark, b->flags);
            bool dead = is_dead(b);
            if (dead) {
                if (sw.debug_gc)
                    printf("[GC] Found garbage block at %p: type=%p, mark=%lu, current=%lu, flags=0x%x\n", (void*)b,
                           (const void*)b->type, (unsigned long)b->mark, (unsigned long)current_mark_value, b->flags);
                if (b->flags & NOLT_FLAG_FINALIZER) {
                    if (sw.debug_gc) printf("[GC] Executing finalizer for object at %p\n", payload(b));
                } else if (sw.debug_gc) {
                    printf("[GC] No finalizer flag (0x%x) for garbage at %p\n", b->flags, payload(b));
                }
                reclaim_dead(b);
                if (nolt_heaps_verify) memset(payload(b), NOLT_POISON_BYTE, size - NOLT_HEADER_SIZE);
                for (uint64_t* word = (uint64_t*)b; word < (uint64_t*)payload(b); word++) *word = kDeadPattern;
            }
            if (dead || is_free(b)) {
                if (!run) run = p, run_size = 0;
                run_size += size;
            } else {
                close();
            }
            p += size;
        }
        close();
    }
    sweep_mem_block = nullptr;
    sweep_block_adr = nullptr;
    sweep_mark_value = current_mark_value;
    sweep_epoch_clean = true;
    for (nolt_region* r = memory_block_head; r && region_count() > 1;) {
        nolt_region* next = r->next;
        if (r != current_mem_block && region_wholly_free(r)) {
            unlist_region_blocks(r);
            nolt_machine_release_memory_block(r);
        }
        r = next;
    }
}

}  // namespace heap

using namespace heap;

extern "C" {

void nolt_heaps_gc(void) {
    if (!heap_initialized) return;
    if (nolt_heaps_is_forked_child) {
        warn_noop_once(
            "[Heaps] nolt_heaps_gc() is a no-op in a forked child before exec (collection deferred; allocation still "
            "works via heap expansion) -- see docs/superpowers/specs/2026-07-22-gc-correctness-design.md §3");
        return;
    }
    if (gc_disabled) {
        warn_noop_once(
            "[Heaps] nolt_heaps_gc() is a no-op under --no-gc (collection disabled for this process's whole "
            "lifetime; allocation still works via heap expansion) -- see docs/language/reference/005_COMPILER_USAGE.md");
        return;
    }
    if (nolt_machine_atomic_cas(&gc_collector_owner, 0, 1) != 0) {
        nolt_machine_lock_acquire(gc_lock);
        nolt_machine_lock_release(gc_lock);
        return;
    }
    uint64_t pause_start = now_us();
    nolt_machine_lock_acquire(gc_lock);
    lock_alloc();
    mark_stack_top = nullptr;
    // Announced before the mark value moves, so that a thread not yet stopped that sees the new
    // value also sees the cycle (nolt_heaps_is_live).
    __atomic_store_n(&gc_in_progress, true, __ATOMIC_SEQ_CST);
    __atomic_add_fetch(&current_mark_value, 1, __ATOMIC_SEQ_CST);
    __nolt_gc_inflight = nullptr;
    nolt_objects_suspend_activities();
    if (owner_token && owner_token != my_token) {
        owner_token = 0;  // another thread collects: the owner's lock-free path ends here
        owner_revoked = true;
    }
    gc_stats.marked = 0;
    gc_stats.swept = 0;
    marked_live_bytes = 0;
    uint64_t mark_start = now_us();
    for (RootTable* t = root_list_head; t; t = t->next) {
        void** table = *(void***)t->table;
        for (int64_t i = 0; table && i < t->count; i++)
            if (table[i]) mark_object(table[i]);
    }
    for (GlobalRoot* g = global_root_list_head; g; g = g->next)
        if (*g->address) mark_object(*g->address);
    nolt_objects_scan_all_stacks();
    while (nolt_block* block = nolt_heaps_mark_stack_pop()) {
        block->link = nullptr;
        trace_block(block);
    }
    uint64_t mark_end = now_us();
    gc_stats.mark_us = gc_stats.last_gc_us = (uint32_t)(mark_end - mark_start);
    restart_sweep();
    gc_stats.live_bytes = marked_live_bytes;
    gc_trigger_threshold = marked_live_bytes * 2 > kInitialThreshold ? marked_live_bytes * 2 : kInitialThreshold;
    __atomic_store_n(&bytes_allocated_since_last_gc, 0, __ATOMIC_RELAXED);
    nolt_objects_resume_activities();
    if (nolt_heaps_verify) sweep_all_locked();
    unlock_alloc();
    gc_stats.pause_us = (uint32_t)(now_us() - pause_start);
    __atomic_store_n(&gc_in_progress, false, __ATOMIC_SEQ_CST);
    gc_collector_owner = 0;
    nolt_machine_lock_release(gc_lock);
    gc_stats.collections++;
    if (sw.debug_gc) {
        printf("[Heaps] GC complete: marked=%llu, live=%llu bytes, sweep deferred (lazy), time=%llu us\n",
               (unsigned long long)gc_stats.marked, (unsigned long long)gc_stats.live_bytes,
               (unsigned long long)gc_stats.mark_us);
        printf("[Heaps] GC telemetry: pause=%u us, mark=%u us, sweep_max=%u us, sweep_quanta=%llu, threshold=%llu\n",
               gc_stats.pause_us, gc_stats.mark_us, gc_stats.sweep_max_us,
               (unsigned long long)gc_stats.sweep_quanta, (unsigned long long)gc_trigger_threshold);
    }
}

void nolt_heaps_lazy_sweep_gc(void) { nolt_heaps_gc(); }

void nolt_heaps_invoke_gc(void) {
    if (nolt_heaps_gc_hook) nolt_heaps_gc_hook();
    else nolt_heaps_gc();
}

void nolt_heaps_disable_gc(void) { gc_disabled = true; }

void nolt_heaps_register_roots(void* table_address, int64_t count) {
    auto* entry = (RootTable*)calloc(1, sizeof(RootTable));
    if (!entry) {
        fprintf(stderr, "[Heaps] ERROR: Failed to register roots\n");
        return;
    }
    entry->table = (void**)table_address;
    entry->count = count;
    entry->next = root_list_head;
    root_list_head = entry;
}

void nolt_heaps_unregister_roots(void* table_address) {
    for (RootTable** link = &root_list_head; *link; link = &(*link)->next) {
        if ((void*)(*link)->table != table_address) continue;
        RootTable* entry = *link;
        *link = entry->next;
        free(entry);
        return;
    }
}

void nolt_heaps_enumerate_roots(void (*function)(void** slot)) {
    for (RootTable* t = root_list_head; t; t = t->next) {
        void** table = *(void***)t->table;
        for (int64_t i = 0; table && i < t->count; i++) function(&table[i]);
    }
}

void nolt_heaps_register_global_root(void* address) {
    auto* entry = (GlobalRoot*)calloc(1, sizeof(GlobalRoot));
    if (!entry) {
        fprintf(stderr, "[Heaps] ERROR: Failed to register global root\n");
        return;
    }
    entry->address = (void**)address;
    entry->next = global_root_list_head;
    global_root_list_head = entry;
}

void nolt_heaps_mark_root(void* reference) {
    if (reference) mark_object(reference);
}

void nolt_heaps_mark_stack_push(nolt_block* block) {
    nolt_block* top = __atomic_load_n(&mark_stack_top, __ATOMIC_ACQUIRE);
    do block->link = top;
    while (!__atomic_compare_exchange_n(&mark_stack_top, &top, block, true, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE));
}

nolt_block* nolt_heaps_mark_stack_pop(void) {
    nolt_block* top = __atomic_load_n(&mark_stack_top, __ATOMIC_ACQUIRE);
    while (top && !__atomic_compare_exchange_n(&mark_stack_top, &top, top->link, true, __ATOMIC_ACQ_REL,
                                               __ATOMIC_ACQUIRE)) {
    }
    return top;
}

bool nolt_heaps_mark_stack_is_empty(void) { return __atomic_load_n(&mark_stack_top, __ATOMIC_ACQUIRE) == nullptr; }

nolt_gc_stats* nolt_heaps_get_gc_stats(void) { return &gc_stats; }

bool nolt_heaps_sweep_epoch_clean(void) { return sweep_epoch_clean && sweep_mark_value == current_mark_value; }

int64_t nolt_heaps_test_lazy_sweep_probe(uint64_t size) {
    revoke_ownership();
    lock_alloc();
    uint64_t before = gc_stats.sweep_blocks;
    if (nolt_block* block = lazy_sweep(size)) add_to_free_list(block);
    int64_t visited = (int64_t)(gc_stats.sweep_blocks - before);
    unlock_alloc();
    return visited;
}

void nolt_heaps_sweep_all(void) {
    revoke_ownership();
    nolt_machine_lock_acquire(gc_lock);
    lock_alloc();
    sweep_all_locked();
    unlock_alloc();
    nolt_machine_lock_release(gc_lock);
}

}  // extern "C"
