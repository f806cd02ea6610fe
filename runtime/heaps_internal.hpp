// What the heap's files share: switches, heap and collector state, and the block and free-list
// helpers. Private to runtime/heaps*.cpp.
#pragma once
#include <stdint.h>

#include "runtime/heaps.hpp"
#include "runtime/machine.hpp"
#include "runtime/platform.hpp"

namespace heap {

constexpr uint64_t kMaxMarkableBlock = 67108864;
constexpr uint64_t kInitialThreshold = 262144;

// Switches, read once at init (NOLT_GC_STRICT at each use).
struct Switches {
    bool debug_alloc, debug_gc, debug_validate, verbose, torture;
    uint64_t race_delay_us;
    bool race_delay_read;
};
extern Switches sw;

// Regions.
extern nolt_region* memory_block_head;
extern nolt_region* current_mem_block;

// Heap state.
extern bool heap_initialized;
extern nolt_platform_mutex* heap_alloc_lock;
extern volatile uint64_t heap_alloc_lock_holder;
extern nolt_block* free_lists[NOLT_FREE_LIST_COUNT];
extern bool gc_in_progress;
extern uint64_t bytes_allocated_since_last_gc;  // read outside the lock by the trigger check
extern uint64_t gc_trigger_threshold;
extern uint64_t current_mark_value;
extern nolt_gc_stats gc_stats;
extern bool gc_disabled;
extern bool warned_noop;

// Collector state.
extern nolt_machine_lock* gc_lock;
extern volatile int32_t gc_collector_owner;
extern nolt_block* volatile mark_stack_top;
extern nolt_region* sweep_mem_block;
extern char* sweep_block_adr;
extern uint64_t sweep_mark_value;
extern bool sweep_epoch_clean;

struct RootTable {
    void** table;  // address of a variable that points to an array of references
    int64_t count;
    RootTable* next;
};
struct GlobalRoot {
    void** address;
    GlobalRoot* next;
};
extern RootTable* root_list_head;
extern GlobalRoot* global_root_list_head;

extern __thread bool in_finalizer;

// The lock-free allocation path belongs to at most one thread: the one whose my_token equals
// owner_token (0 while none). Once another thread needs the heap, no thread owns it again.
extern uint64_t owner_token;
extern bool owner_revoked;
extern __thread uint64_t my_token;
// Ends another thread's lock-free path, stopping it first; takes and releases both locks.
void revoke_ownership();

inline uint64_t round_up(uint64_t value, uint64_t unit) { return (value + unit - 1) / unit * unit; }
inline uint64_t now_us() { return nolt_machine_timer_to_us(nolt_machine_get_timer()); }

inline void* payload(nolt_block* block) { return (char*)block + NOLT_HEADER_SIZE; }
inline nolt_block*& free_next(nolt_block* block) { return *(nolt_block**)payload(block); }
inline bool is_free(const nolt_block* block) { return block->type == &free_block_sentinel; }
inline bool is_dead(const nolt_block* block) {
    return block->type && !is_free(block) && block->mark < current_mark_value;
}

// The free-list class of a block or request size.
inline int32_t size_class(uint64_t size) {
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

// Allocation from a large free block and the sweep both move through memory in address order, a
// block at a time. Each asks, a page ahead, for as many lines as the block it has just reached
// covers, so that every line is requested once and before it is needed.
constexpr uint64_t kReadAhead = 4096;
inline void read_ahead(const void* block, uint64_t size) {
    const char* start = (const char*)block + kReadAhead;
    for (uint64_t offset = 0; offset < size && offset < kReadAhead; offset += 64) __builtin_prefetch(start + offset, 1);
}

inline void lock_alloc() {
    nolt_platform_mutex_lock(heap_alloc_lock);
    heap_alloc_lock_holder = nolt_platform_thread_self_id();
}

inline void unlock_alloc() {
    heap_alloc_lock_holder = 0;
    nolt_platform_mutex_unlock(heap_alloc_lock);
}

// Stops while the world is stopped, or with the allocation lock held, bypass stdio.
void fatal_write(const char* text);

nolt_region* region_of(const void* address);
void make_free(nolt_block* block, uint64_t size);
void set_list_head(int cls, nolt_block* head);
void clear_free_lists();
void add_to_free_list(nolt_block* block);
// Splits `block` if it is larger than `size` plus a header, listing the remainder.
void split_block(nolt_block* block, uint64_t size);

// Sweeping, with the allocation lock held.
nolt_block* lazy_sweep(uint64_t size);
void sweep_all_locked();

// Finalizers.
void execute_finalizer(void* object);
void finalizer_table_reset();

}  // namespace heap
