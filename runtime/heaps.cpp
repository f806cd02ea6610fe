#include "runtime/heaps.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "runtime/machine.hpp"
#include "runtime/objects.hpp"
#include "runtime/platform.hpp"

extern "C" {

__thread nolt_gc_frame* __nolt_gc_top;
__thread void* __nolt_gc_inflight;
__thread void* __nolt_gc_handoff[NOLT_GC_HANDOFF_SLOTS];

const nolt_type array_type_sentinel = {};
const nolt_type free_block_sentinel = {};

bool nolt_heaps_verify;
bool nolt_heaps_is_forked_child;
void (*nolt_heaps_gc_hook)(void);

}  // extern "C"

namespace {

constexpr uint64_t kDefaultRegionSize = 67108864;
constexpr uint64_t kMinExpansion = 65536;
constexpr uint64_t kMaxMarkableBlock = 67108864;
constexpr uint64_t kInitialThreshold = 262144;
constexpr uint64_t kDeadPattern = 0xdeaddeaddeaddeadULL;
constexpr int kFinalizerStaticBuckets = 64;

// Switches, read once at init (NOLT_GC_STRICT at each use).
struct Switches {
    bool debug_alloc, debug_gc, debug_validate, verbose, torture;
    uint64_t race_delay_us;
    bool race_delay_read;
} sw;

// Regions.
nolt_platform_mutex* memory_lock;
nolt_region* memory_block_head;
nolt_region* memory_block_tail;
nolt_region* current_mem_block;
uint64_t region_size;  // 0 until the first expansion reads it

// Heap state.
bool heap_initialized;
nolt_platform_mutex* heap_alloc_lock;
volatile uint64_t heap_alloc_lock_holder;
nolt_block* free_lists[NOLT_FREE_LIST_COUNT];
uint32_t free_mask;  // bit c is set while free_lists[c] is not empty
bool gc_in_progress;
uint64_t bytes_allocated_since_last_gc;  // read outside the lock by the trigger check
uint64_t gc_trigger_threshold = kInitialThreshold;
uint64_t current_mark_value;
nolt_gc_stats gc_stats;
bool gc_disabled;
bool warned_noop;

// Collector state.
nolt_machine_lock* gc_lock;
volatile int32_t gc_collector_owner;
nolt_block* volatile mark_stack_top;
uint64_t marked_live_bytes;
nolt_region* sweep_mem_block;
char* sweep_block_adr;
uint64_t sweep_mark_value;
bool sweep_epoch_clean;

struct RootTable {
    void** table;  // address of a variable that points to an array of references
    int64_t count;
    RootTable* next;
};
struct GlobalRoot {
    void** address;
    GlobalRoot* next;
};
RootTable* root_list_head;
GlobalRoot* global_root_list_head;

// Finalizers: a chained hash table from object to function.
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
__thread bool in_finalizer;

// Thread registration.
nolt_platform_mutex* nolt_heaps_gc_mutex;
int32_t gc_thread_count;

uint64_t round_up(uint64_t value, uint64_t unit) { return (value + unit - 1) / unit * unit; }

uint64_t now_us() { return nolt_machine_timer_to_us(nolt_machine_get_timer()); }

uint64_t read_number(const char* name) {
    const char* text = getenv(name);
    return text ? strtoull(text, nullptr, 10) : 0;
}

// Stops while the world is stopped, or with the allocation lock held, bypass stdio.
void fatal_write(const char* text) {
    nolt_platform_before_fatal();
    nolt_platform_write_stderr(text, strlen(text));
}

void lock_alloc() {
    nolt_platform_mutex_lock(heap_alloc_lock);
    heap_alloc_lock_holder = nolt_platform_thread_self_id();
}

void unlock_alloc() {
    heap_alloc_lock_holder = 0;
    nolt_platform_mutex_unlock(heap_alloc_lock);
}

bool holds_alloc_lock() { return heap_alloc_lock_holder == nolt_platform_thread_self_id(); }

bool collection_allowed() {
    return !__atomic_load_n(&gc_in_progress, __ATOMIC_RELAXED) && !nolt_heaps_is_forked_child && !gc_disabled;
}

void* payload(nolt_block* block) { return (char*)block + NOLT_HEADER_SIZE; }
nolt_block*& free_next(nolt_block* block) { return *(nolt_block**)payload(block); }

bool is_free(const nolt_block* block) { return block->type == &free_block_sentinel; }

nolt_region* region_of(const void* address) {
    for (nolt_region* r = memory_block_head; r; r = r->next)
        if ((const char*)address >= (const char*)r->first_block && (const char*)address < r->end) return r;
    return nullptr;
}

void make_free(nolt_block* block, uint64_t size) {
    block->block_size = size;
    block->mark = 0;
    block->flags = 0;
    block->string_length = 0;
    block->type = &free_block_sentinel;
    block->array_length = 0;
    block->link = nullptr;
}

void set_list_head(int cls, nolt_block* head) {
    free_lists[cls] = head;
    if (head) free_mask |= 1u << cls;
    else free_mask &= ~(1u << cls);
}

void clear_free_lists() {
    for (auto& head : free_lists) head = nullptr;
    free_mask = 0;
}

void add_to_free_list(nolt_block* block) {
    int cls = nolt_heaps_size_class(block->block_size);
    if (sw.debug_alloc) {
        int seen = 0;
        for (nolt_block* b = free_lists[cls]; b && seen < 100; b = free_next(b), seen++) {
            if (b == block) {
                printf("[WARNING] Block %p already in free list class %d!\n", (void*)block, cls);
                return;
            }
        }
    }
    free_next(block) = free_lists[cls];
    set_list_head(cls, block);
}

// Splits `block` if it is larger than `size` plus a header, listing the remainder.
void split_block(nolt_block* block, uint64_t size) {
    if (block->block_size <= size + NOLT_HEADER_SIZE) return;
    nolt_block* rest = (nolt_block*)((char*)block + size);
    if (sw.debug_alloc)
        printf("[Alloc] Splitting: keeping %zu, remainder %zu at %p\n", (size_t)size,
               (size_t)(block->block_size - size), (void*)rest);
    make_free(rest, block->block_size - size);
    block->block_size = size;
    add_to_free_list(rest);
}

nolt_block* lazy_sweep(uint64_t size);

nolt_block* find_free_block(uint64_t size) {
    int first = nolt_heaps_size_class(size);
    if (sw.debug_alloc) printf("[Alloc] Looking for block size %zu, class %d\n", (size_t)size, first);
    for (uint32_t classes = free_mask >> first << first; classes; classes &= classes - 1) {
        int cls = __builtin_ctz(classes);
        nolt_block** link = &free_lists[cls];
        for (nolt_block* b = *link; b; link = &free_next(b), b = *link) {
            if (b->block_size < size) continue;
            *link = free_next(b);
            if (!free_lists[cls]) free_mask &= ~(1u << cls);
            if (sw.debug_alloc)
                printf("[Alloc] Found block at %p: size=%zu in class %d\n", (void*)b, (size_t)b->block_size, cls);
            split_block(b, size);
            return b;
        }
    }
    if (sw.debug_alloc) printf("[Alloc] No suitable block in free lists, trying lazy sweep for size %zu\n", (size_t)size);
    nolt_block* swept = lazy_sweep(size);
    if (swept && sw.debug_alloc)
        printf("[Alloc] Lazy sweep found block at %p with size %zu\n", (void*)swept, (size_t)swept->block_size);
    return swept;
}

nolt_block* allocate_from_region(uint64_t size) {
    if (sw.debug_alloc) printf("[Alloc] allocate_from_region called with size %zu\n", (size_t)size);
    uint64_t request = size < 65473 ? kMinExpansion : round_up(size, NOLT_BLOCK_ALIGN);
    nolt_block* first = nolt_machine_expand_heap(request);
    if (!first) return nullptr;
    nolt_region* region = nolt_heaps_find_memory_block_by_start(memory_block_head, first);
    if (!region) return nullptr;
    current_mem_block = region;
    make_free(first, (uint64_t)(region->end - (char*)first));
    add_to_free_list(first);
    uint64_t wanted = round_up(size, NOLT_BLOCK_ALIGN);
    if (sw.debug_alloc)
        printf("[Alloc] Added free block at %p with size %zu, now calling find_free_block(%zu)\n", (void*)first,
               (size_t)first->block_size, (size_t)wanted);
    nolt_block* block = find_free_block(wanted);
    if (sw.debug_alloc) printf("[Alloc] find_free_block returned block at %p\n", (void*)block);
    if (!block) fprintf(stderr, "[Heaps] ERROR: Failed to find free block after adding one!\n");
    return block;
}

void race_delay() {
    if (!sw.race_delay_read) {
        sw.race_delay_us = read_number("NOLT_GC_RACE_DELAY_US");
        sw.race_delay_read = true;
    }
    if (sw.race_delay_us) nolt_platform_sleep_us((int64_t)sw.race_delay_us);
}

// The walk shared by all allocators: trigger, find or grow, header, zeroing, in-flight slot.
void* allocate(const char* who, uint64_t size, const nolt_type* type, uint32_t flags, uint64_t array_length,
               uint64_t zero_bytes) {
    // The mark phase takes a larger header for a corrupt one and would not keep such a block alive.
    if (size > kMaxMarkableBlock) nolt_heaps_oom_abort(who, size);
    if (collection_allowed()) {
        if (__atomic_load_n(&bytes_allocated_since_last_gc, __ATOMIC_RELAXED) >= gc_trigger_threshold) nolt_heaps_gc();
        else if (sw.torture && !holds_alloc_lock()) nolt_heaps_gc();
    }
    lock_alloc();
    nolt_block* block = find_free_block(size);
    if (!block && collection_allowed()) {
        unlock_alloc();
        nolt_heaps_gc();
        lock_alloc();
        block = find_free_block(size);
    }
    if (!block) {
        if (sw.debug_alloc) printf("[Alloc] No free block found, expanding heap for size %zu\n", (size_t)size);
        block = allocate_from_region(size);
        if (!block) {
            unlock_alloc();
            nolt_heaps_oom_abort(who, size);
        }
    }
    gc_stats.total_allocated += size;
    gc_stats.live_bytes += size;
    __atomic_fetch_add(&bytes_allocated_since_last_gc, size, __ATOMIC_RELAXED);
    if (sw.debug_alloc)
        printf("[Alloc] Initializing block at %p, existing size=%zu, requested size=%zu\n", (void*)block,
               (size_t)block->block_size, (size_t)size);
    block->mark = current_mark_value;
    block->flags = flags;
    block->string_length = 0;
    block->type = type;
    block->array_length = array_length;
    block->link = nullptr;
    void* reference = payload(block);
    memset(reference, 0, zero_bytes);
    __nolt_gc_inflight = reference;
    unlock_alloc();
    nolt_owner_stamp(reference);
    race_delay();
    return reference;
}

void* new_object(const char* who, const nolt_type* type, uint32_t flags) {
    if (in_finalizer) nolt_heaps_finalizer_alloc_abort();
    if (!heap_initialized) {
        fprintf(stderr, "[Heaps] ERROR: Heap not initialized\n");
        return nullptr;
    }
    if (!type || type->size == 0) {
        fprintf(stderr, "[Heaps] ERROR: Invalid type descriptor\n");
        return nullptr;
    }
    uint64_t size = (type->size + 111) & ~(uint64_t)63;
    return allocate(who, size, type, flags, 0, type->size);
}

void* new_array(const char* who, uint64_t element_size, uint64_t count, const nolt_type* type, uint32_t flags) {
    if (in_finalizer) nolt_heaps_finalizer_alloc_abort();
    if (!heap_initialized) {
        fprintf(stderr, "[Heaps] ERROR: Heap not initialized\n");
        return nullptr;
    }
    uint64_t bytes = 0;
    if ((int64_t)count < 0 || (element_size != 0 && __builtin_mul_overflow(element_size, count, &bytes)) ||
        bytes > UINT64_MAX - 111)
        nolt_heaps_size_abort((int64_t)count, element_size);
    uint64_t size = (bytes + 111) & ~(uint64_t)63;
    return allocate(who, size, type, flags, count, bytes);
}

// Marking.

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

// Sweeping.

void execute_finalizer(void* object);

// Reclaims one dead block's accounting; the caller turns it into free space.
void reclaim_dead(nolt_block* block) {
    gc_stats.swept++;
    gc_stats.total_freed += block->block_size;
    nolt_owner_purge(payload(block));
    if (block->flags & NOLT_FLAG_FINALIZER) {
        execute_finalizer(payload(block));
        block->flags &= ~(uint32_t)NOLT_FLAG_FINALIZER;
    }
}

bool is_dead(const nolt_block* block) {
    return block->type && !is_free(block) && block->mark < current_mark_value;
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

struct SweepPiece {
    uint64_t size;
    char* run_start = nullptr;
    uint64_t run_size = 0;
    uint64_t visited = 0;
    bool reclaimed = false;

    // Turns the open run into one free block; returns it if it satisfies the request.
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
};

nolt_block* lazy_sweep(uint64_t size) {
    if (sweep_epoch_clean && sweep_mark_value == current_mark_value) return nullptr;
    uint64_t start = now_us();
    if (!sweep_mem_block || sweep_mark_value < current_mark_value) {
        sweep_mem_block = memory_block_head;
        sweep_block_adr = sweep_mem_block ? (char*)sweep_mem_block->first_block : nullptr;
        sweep_mark_value = current_mark_value;
        sweep_epoch_clean = false;
    }
    SweepPiece piece{size};
    nolt_block* found = nullptr;
    while (sweep_mem_block && !found) {
        nolt_region* region = sweep_mem_block;
        char* p = sweep_block_adr;
        bool finished = false;
        while (!finished && !found) {
            if (p >= region->end) {
                finished = true;
                break;
            }
            nolt_block* b = (nolt_block*)p;
            uint64_t remaining = (uint64_t)(region->end - p);
            piece.visited++;
            if (b->block_size > remaining) {
                p = region->end;
                finished = true;
            } else if (b->block_size == 0) {
                found = piece.close_run(p);
                if (found) break;
                if (remaining >= NOLT_HEADER_SIZE) {
                    make_free(b, remaining);
                    add_to_free_list(b);
                }
                p = region->end;
                finished = true;
            } else if (is_dead(b)) {
                reclaim_dead(b);
                piece.reclaimed = true;
                if (!piece.run_start) piece.run_start = p;
                piece.run_size = (piece.run_start == p) ? b->block_size : piece.run_size + b->block_size;
                p += b->block_size;
            } else {
                found = piece.close_run(p);
                if (!found) p += b->block_size;
            }
        }
        if (found) {
            sweep_block_adr = p;
            break;
        }
        found = piece.close_run(p);
        if (found) {
            sweep_block_adr = p;
            break;
        }
        sweep_mem_block = region->next;
        sweep_block_adr = sweep_mem_block ? (char*)sweep_mem_block->first_block : nullptr;
        if (piece.reclaimed && region_count() > 1 && region != current_mem_block && region != sweep_mem_block &&
            region_wholly_free(region)) {
            unlist_region_blocks(region);
            nolt_machine_release_memory_block(region);
        }
        piece.reclaimed = false;
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

// Finalizer table.

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

void warn_noop_once(const char* text) {
    if (warned_noop || !sw.verbose) return;
    warned_noop = true;
    fprintf(stderr, "%s\n", text);
}

}  // namespace

extern "C" {

// Regions.

uint64_t nolt_machine_region_size(void) {
    if (region_size == 0) {
        uint64_t wanted = read_number("NOLT_HEAP_BLOCK_SIZE");
        region_size = wanted < 128 ? kDefaultRegionSize : wanted;
    }
    return region_size;
}

nolt_block* nolt_machine_expand_heap(uint64_t size) {
    uint64_t page = (uint64_t)sysconf(_SC_PAGESIZE);
    uint64_t wanted = size + 64 > nolt_machine_region_size() ? size + 64 : nolt_machine_region_size();
    uint64_t total = round_up(wanted, page);
    void* base = nullptr;
    int rc = posix_memalign(&base, page, total);
    if (rc != 0) {
        fprintf(stderr, "nolt_machine_expand_heap: posix_memalign: %s\n", strerror(rc));
        return nullptr;
    }
    if (mprotect(base, total, PROT_READ | PROT_WRITE | PROT_EXEC) != 0) {
        perror("nolt_machine_expand_heap: mprotect");
        free(base);
        return nullptr;
    }
    auto* region = (nolt_region*)base;
    memset(region, 0, sizeof *region);
    region->base = base;
    region->total_size = total;
    region->first_block = (nolt_block*)((char*)base + 64);
    region->end = (char*)base + total;
    nolt_platform_mutex_lock(memory_lock);
    nolt_region** link = &memory_block_head;
    while (*link && (char*)(*link)->base < (char*)base) link = &(*link)->next;
    region->next = *link;
    *link = region;
    if (!region->next) memory_block_tail = region;
    nolt_platform_mutex_unlock(memory_lock);
    return region->first_block;
}

nolt_region* nolt_machine_get_memory_blocks(void) { return memory_block_head; }

bool nolt_machine_release_memory_block(nolt_region* region) {
    nolt_platform_mutex_lock(memory_lock);
    nolt_region* previous = nullptr;
    nolt_region* r = memory_block_head;
    while (r && r != region) previous = r, r = r->next;
    if (r) {
        (previous ? previous->next : memory_block_head) = r->next;
        if (memory_block_tail == r) memory_block_tail = previous;
        if (current_mem_block == r) current_mem_block = memory_block_tail;
    }
    nolt_platform_mutex_unlock(memory_lock);
    if (!r) return false;
    free(r->base);
    return true;
}

// Allocation.

void nolt_heaps_init(void) {
    if (heap_initialized) {
        fprintf(stderr, "[Heaps] WARNING: Already initialized\n");
        return;
    }
    sw.debug_alloc = getenv("DEBUG_ALLOC") != nullptr;
    sw.debug_gc = getenv("DEBUG_GC") != nullptr;
    sw.debug_validate = getenv("DEBUG_VALIDATE") != nullptr;
    sw.verbose = getenv("NOLT_RUNTIME_VERBOSE") != nullptr;
    sw.torture = getenv("NOLT_GC_TORTURE") != nullptr;
    if (getenv("NOLT_GC_VERIFY")) nolt_heaps_verify = true;
    clear_free_lists();
    mark_stack_top = nullptr;
    root_list_head = nullptr;
    finalizer_buckets = finalizer_static_buckets;
    finalizer_bucket_count = kFinalizerStaticBuckets;
    finalizer_bucket_shift = 6;
    if (!memory_lock) memory_lock = nolt_platform_mutex_create();
    gc_lock = nolt_machine_lock_create(2);
    if (!gc_lock) {
        fprintf(stderr, "[Heaps] ERROR: Failed to create GC lock\n");
        return;
    }
    heap_alloc_lock = nolt_platform_mutex_create();
    if (!heap_alloc_lock) {
        fprintf(stderr, "[Heaps] ERROR: Failed to create heap allocation mutex\n");
        return;
    }
    if (!nolt_heaps_gc_mutex) nolt_heaps_stw_init();
    gc_stats = {};
    sweep_mem_block = nullptr;
    sweep_block_adr = nullptr;
    gc_trigger_threshold = kInitialThreshold;
    current_mark_value = 0;
    heap_initialized = true;
    if (sw.verbose) fprintf(stderr, "[Heaps] Initialized\n");
}

void nolt_heaps_cleanup(void) {
    if (!heap_initialized) return;
    heap_initialized = false;
    nolt_machine_lock_destroy(gc_lock);
    nolt_platform_mutex_destroy(heap_alloc_lock);
    gc_lock = nullptr;
    heap_alloc_lock = nullptr;
    while (root_list_head) {
        RootTable* next = root_list_head->next;
        free(root_list_head);
        root_list_head = next;
    }
    while (global_root_list_head) {
        GlobalRoot* next = global_root_list_head->next;
        free(global_root_list_head);
        global_root_list_head = next;
    }
    if (finalizer_buckets != finalizer_static_buckets) free(finalizer_buckets);
    finalizer_buckets = finalizer_static_buckets;
    if (sw.verbose) fprintf(stderr, "[Heaps] Cleaned up\n");
}

int32_t nolt_heaps_size_class(uint64_t size) {
    if (size <= 512) return size <= 64 ? 0 : (int32_t)((size - 1) / 64);
    if (size <= 640) return 8;
    if (size <= 768) return 9;
    if (size <= 1024) return 10;
    if (size <= 2048) return 11;
    if (size <= 4096) return 12;
    if (size <= 8192) return 13;
    if (size <= 16384) return 14;
    return 15;
}

nolt_block* nolt_heaps_free_list_head(int32_t size_class) {
    return size_class >= 0 && size_class < NOLT_FREE_LIST_COUNT ? free_lists[size_class] : nullptr;
}

uint64_t nolt_heaps_current_mark_value(void) { return current_mark_value; }
uint64_t nolt_heaps_trigger_threshold(void) { return gc_trigger_threshold; }
uint64_t nolt_heaps_bytes_since_gc(void) { return bytes_allocated_since_last_gc; }

void* nolt_heaps_new_object(const nolt_type* type) { return new_object("nolt_heaps_new_object", type, 0); }

void* nolt_heaps_new_protected_object(const nolt_type* type) {
    return new_object("nolt_heaps_new_protected_object", type, NOLT_FLAG_PROTECTED);
}

void* nolt_heaps_new_array(uint64_t element_size, uint64_t count) {
    return new_array("nolt_heaps_new_array", element_size, count, &array_type_sentinel, 0);
}

void* nolt_heaps_new_ptr_array(uint64_t count) {
    return new_array("nolt_heaps_new_ptr_array", sizeof(void*), count, &array_type_sentinel, NOLT_FLAG_POINTER_ARRAY);
}

void* nolt_heaps_new_enum_array(const nolt_type* element_type, uint64_t count) {
    if (!element_type || element_type->size == 0) {
        fprintf(stderr, "[Heaps] ERROR: nolt_heaps_new_enum_array: NULL or zero-size element type\n");
        return nullptr;
    }
    return new_array("nolt_heaps_new_enum_array", element_type->size, count, element_type, NOLT_FLAG_SUM_ARRAY);
}

void* nolt_heaps_new_sys(size_t size) { return calloc(1, size ? size : 1); }
void nolt_heaps_dispose_sys(void* pointer) { free(pointer); }

nolt_region* nolt_heaps_find_memory_block_by_start(nolt_region* head, const void* address) {
    for (nolt_region* r = head; r; r = r->next)
        if ((const void*)r->first_block == address) return r;
    return nullptr;
}

uint64_t nolt_heaps_alloc_lock_holder(void) { return heap_alloc_lock_holder; }

void nolt_heaps_oom_abort(const char* where, size_t size) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[Heaps] FATAL: Out of memory in %s (requested %zu bytes)\n", where, size);
    fprintf(stderr, "[Heaps] Stats: %llu bytes live, %llu allocated, %llu collections\n",
            (unsigned long long)gc_stats.live_bytes, (unsigned long long)gc_stats.total_allocated,
            (unsigned long long)gc_stats.collections);
    abort();
}

void nolt_heaps_size_abort(int64_t count, size_t element_size) {
    nolt_platform_before_fatal();
    fprintf(stderr, "[Heaps] FATAL: Invalid array size in %s (count=%lld, elem_size=%zu)\n", "nolt_heaps_new_array",
            (long long)count, element_size);
    fprintf(stderr, "[Heaps] A negative or overflowing array length reached the allocator (BUG-056 guard).\n");
    abort();
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

bool nolt_type_is(const void* object, const nolt_type* type) {
    if (!object || !type) return false;
    const nolt_type* t = nolt_block_of(object)->type;
    if (t == &free_block_sentinel) return false;
    for (; t; t = t->parent)
        if (t == type) return true;
    return false;
}

const nolt_type* nolt_type_id(const void* object) { return object ? nolt_block_of(object)->type : nullptr; }

const char* nolt_type_name_raw(const void* object) {
    if (!object) return "nil";
    const nolt_type* t = nolt_block_of(object)->type;
    if (!t || t == &free_block_sentinel || t == &array_type_sentinel) return "<unknown>";
    return t->name ? t->name : "<unnamed>";
}

void* nolt_type_as(void* object, const nolt_type* type) {
    const char* expected = type && type->name ? type->name : "<unknown>";
    if (!object || !nolt_type_is(object, type)) nolt_platform_before_fatal();
    if (!object) {
        fprintf(stderr, "[TypeAs] ERROR: Cannot cast nil to %s\n", expected);
        exit(1);
    }
    if (!nolt_type_is(object, type)) {
        fprintf(stderr, "[TypeAs] ERROR: Type assertion failed - expected %s, got %s\n", expected,
                nolt_type_name_raw(object));
        exit(1);
    }
    return object;
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

// Collection.

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
    sweep_mem_block = memory_block_head;
    sweep_block_adr = sweep_mem_block ? (char*)sweep_mem_block->first_block : nullptr;
    sweep_mark_value = current_mark_value;
    sweep_epoch_clean = false;
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

nolt_gc_stats* nolt_heaps_get_gc_stats(void) { return &gc_stats; }

bool nolt_heaps_sweep_epoch_clean(void) { return sweep_epoch_clean && sweep_mark_value == current_mark_value; }

int64_t nolt_heaps_test_lazy_sweep_probe(uint64_t size) {
    lock_alloc();
    uint64_t before = gc_stats.sweep_blocks;
    if (nolt_block* block = lazy_sweep(size)) add_to_free_list(block);
    int64_t visited = (int64_t)(gc_stats.sweep_blocks - before);
    unlock_alloc();
    return visited;
}

void nolt_heaps_sweep_all(void) {
    nolt_machine_lock_acquire(gc_lock);
    lock_alloc();
    sweep_all_locked();
    unlock_alloc();
    nolt_machine_lock_release(gc_lock);
}

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

// Thread registration.

void nolt_heaps_stw_init(void) {
    if (!nolt_heaps_gc_mutex) nolt_heaps_gc_mutex = nolt_platform_mutex_create();
    gc_thread_count = 0;
}

void nolt_heaps_stw_cleanup(void) {
    nolt_platform_mutex_destroy(nolt_heaps_gc_mutex);
    nolt_heaps_gc_mutex = nullptr;
}

void nolt_heaps_register_thread(void) {
    nolt_platform_mutex_lock(nolt_heaps_gc_mutex);
    gc_thread_count++;
    nolt_platform_mutex_unlock(nolt_heaps_gc_mutex);
}

void nolt_heaps_unregister_thread(void) {
    nolt_platform_mutex_lock(nolt_heaps_gc_mutex);
    if (gc_thread_count > 0) gc_thread_count--;
    nolt_platform_mutex_unlock(nolt_heaps_gc_mutex);
}

int32_t nolt_heaps_gc_thread_count(void) {
    nolt_platform_mutex_lock(nolt_heaps_gc_mutex);
    int32_t count = gc_thread_count;
    nolt_platform_mutex_unlock(nolt_heaps_gc_mutex);
    return count;
}

// Fork: no thread may be inside the collector or the allocator when the child is made.

void nolt_heaps_atfork_prepare(void) {
    if (!heap_initialized) return;
    nolt_machine_lock_acquire(gc_lock);
    lock_alloc();
}

void nolt_heaps_atfork_parent(void) {
    if (!heap_initialized) return;
    unlock_alloc();
    nolt_machine_lock_release(gc_lock);
}

void nolt_heaps_atfork_child(void) {
    if (heap_initialized) {
        nolt_machine_lock_release(gc_lock);  // the child's thread took it in prepare
        gc_lock = nolt_machine_lock_create(2);
        heap_alloc_lock = nolt_platform_mutex_create();
        heap_alloc_lock_holder = 0;
        gc_collector_owner = 0;
        gc_in_progress = false;
        mark_stack_top = nullptr;
        sweep_mem_block = nullptr;
        sweep_block_adr = nullptr;
        sweep_mark_value = current_mark_value;
        sweep_epoch_clean = true;
    }
    nolt_heaps_gc_mutex = nolt_platform_mutex_create();
    gc_thread_count = 0;
    nolt_heaps_is_forked_child = true;
    warned_noop = false;
}

}  // extern "C"
