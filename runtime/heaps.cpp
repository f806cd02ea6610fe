// The managed heap: regions taken from the system allocator, 16 segregated free lists, and the
// allocators that serve objects, arrays and texts from them.
#include "runtime/heaps.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "runtime/heaps_internal.hpp"
#include "runtime/objects.hpp"

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

namespace heap {

Switches sw;

nolt_region* memory_block_head;
nolt_region* current_mem_block;

bool heap_initialized;
nolt_platform_mutex* heap_alloc_lock;
volatile uint64_t heap_alloc_lock_holder;
nolt_block* free_lists[NOLT_FREE_LIST_COUNT];
bool gc_in_progress;
uint64_t bytes_allocated_since_last_gc;
uint64_t gc_trigger_threshold = kInitialThreshold;
uint64_t current_mark_value;
nolt_gc_stats gc_stats;
bool gc_disabled;
bool warned_noop;
uint64_t owner_token;
bool owner_revoked;
__thread uint64_t my_token = ~0ull;

namespace {

constexpr uint64_t kDefaultRegionSize = 67108864;
constexpr uint64_t kMinExpansion = 65536;

nolt_platform_mutex* memory_lock;
nolt_region* memory_block_tail;
uint64_t region_size;  // 0 until the first expansion reads it
uint32_t free_mask;    // bit c is set while free_lists[c] is not empty

uint64_t tokens_issued;

// Thread registration.
nolt_platform_mutex* nolt_heaps_gc_mutex;
int32_t gc_thread_count;

uint64_t read_number(const char* name) {
    const char* text = getenv(name);
    return text ? strtoull(text, nullptr, 10) : 0;
}

bool holds_alloc_lock() { return heap_alloc_lock_holder == nolt_platform_thread_self_id(); }

bool collection_allowed() {
    return !__atomic_load_n(&gc_in_progress, __ATOMIC_RELAXED) && !nolt_heaps_is_forked_child && !gc_disabled;
}

}  // namespace

// The stop waits until the owner is outside its lock-free path; after it the owner takes the lock
// like everyone else.
void revoke_ownership() {
    nolt_machine_lock_acquire(gc_lock);
    lock_alloc();
    owner_revoked = true;
    if (owner_token && owner_token != my_token) {
        nolt_objects_suspend_activities();
        owner_token = 0;
        nolt_objects_resume_activities();
    }
    unlock_alloc();
    nolt_machine_lock_release(gc_lock);
}

void fatal_write(const char* text) {
    nolt_platform_before_fatal();
    nolt_platform_write_stderr(text, strlen(text));
}

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
    int cls = size_class(block->block_size);
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

void split_block(nolt_block* block, uint64_t size) {
    if (block->block_size <= size + NOLT_HEADER_SIZE) return;
    nolt_block* rest = (nolt_block*)((char*)block + size);
    if (sw.debug_alloc)
        printf("[Alloc] Splitting: keeping %zu, remainder %zu at %p\n", (size_t)size,
               (size_t)(block->block_size - size), (void*)rest);
    read_ahead(rest, size);
    make_free(rest, block->block_size - size);
    block->block_size = size;
    add_to_free_list(rest);
}

namespace {

// The largest size of each class but the last: class c holds the sizes above the bound of c - 1.
constexpr uint64_t kClassBound[NOLT_FREE_LIST_COUNT - 1] = {64,  128, 192,  256,  320,  384,  448,  512,
                                                            640, 768, 1024, 2048, 4096, 8192, 16384};

// First fit over the free lists, from the class of `size` upward.
inline __attribute__((always_inline)) nolt_block* take_listed_block(uint64_t size) {
    int first = size_class(size);
    if (sw.debug_alloc) printf("[Alloc] Looking for block size %zu, class %d\n", (size_t)size, first);
    for (uint32_t classes = free_mask >> first << first; classes; classes &= classes - 1) {
        int cls = __builtin_ctz(classes);
        nolt_block** link = &free_lists[cls];
        for (nolt_block* b = *link; b; link = &free_next(b), b = *link) {
            if (b->block_size < size) continue;
            // The usual case: the head of a list whose rest stays in the same class (a block's
            // class bounds its rest from above). The rest takes its place, as unlinking it and
            // listing the rest would leave the list, and the class stays listed.
            uint64_t rest_size = b->block_size - size;
            if (link == &free_lists[cls] && cls > 0 && rest_size > kClassBound[cls - 1] && !sw.debug_alloc) {
                nolt_block* rest = (nolt_block*)((char*)b + size);
                read_ahead(rest, size);
                make_free(rest, rest_size);
                free_next(rest) = free_next(b);
                *link = rest;
                b->block_size = size;
                return b;
            }
            *link = free_next(b);
            if (!free_lists[cls]) free_mask &= ~(1u << cls);
            if (sw.debug_alloc)
                printf("[Alloc] Found block at %p: size=%zu in class %d\n", (void*)b, (size_t)b->block_size, cls);
            split_block(b, size);
            return b;
        }
    }
    return nullptr;
}

nolt_block* find_free_block(uint64_t size) {
    if (nolt_block* listed = take_listed_block(size)) return listed;
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

__attribute__((noinline)) void read_race_delay() {
    sw.race_delay_us = read_number("NOLT_GC_RACE_DELAY_US");
    sw.race_delay_read = true;
}

inline __attribute__((always_inline)) void race_delay() {
    if (!sw.race_delay_read) read_race_delay();
    if (sw.race_delay_us) nolt_platform_sleep_us((int64_t)sw.race_delay_us);
}

// Counts a block just taken, writes its header and zeroes its payload; the new block counts as
// reached in the present cycle.
inline __attribute__((always_inline)) void* init_block(nolt_block* block, uint64_t size, const nolt_type* type,
                                                       uint32_t flags, uint64_t array_length, uint64_t zero_bytes) {
    gc_stats.total_allocated += size;
    gc_stats.live_bytes += size;
    // Every writer excludes the others (the lock, or the lock-free owner alone), so no atomic add.
    __atomic_store_n(&bytes_allocated_since_last_gc, bytes_allocated_since_last_gc + size, __ATOMIC_RELAXED);
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
    return reference;
}

// The lock-free path, for the one thread that owns the heap while no other has allocated: a
// block straight off the free lists, in a section that a stop waits for. Null when the lists
// cannot serve the request.
inline __attribute__((always_inline)) void* allocate_owned(uint64_t size, const nolt_type* type, uint32_t flags,
                                                           uint64_t array_length, uint64_t zero_bytes) {
    nolt_platform_no_stop_begin();
    nolt_block* block = take_listed_block(size);
    void* reference = block ? init_block(block, size, type, flags, array_length, zero_bytes) : nullptr;
    nolt_platform_no_stop_end();
    return reference;
}

// Makes this thread the owner if no thread owns the heap yet and it can be stopped. With the
// allocation lock held.
void claim_ownership() {
    if (owner_revoked || owner_token || nolt_heaps_is_forked_child || sw.debug_alloc || !nolt_objects_current_process())
        return;
    owner_token = my_token = ++tokens_issued;
}

// The allocation lock, with no other thread on the lock-free path.
void lock_alloc_shared() {
    lock_alloc();
    if (owner_token && owner_token != my_token) {
        unlock_alloc();
        revoke_ownership();
        lock_alloc();
    }
}

// The locked path: the free lists and the sweep, then a collection, then a new region.
__attribute__((noinline)) void* allocate_locked(const char* who, uint64_t size, const nolt_type* type, uint32_t flags,
                                                uint64_t array_length, uint64_t zero_bytes) {
    lock_alloc_shared();
    nolt_block* block = find_free_block(size);
    if (!block && collection_allowed()) {
        unlock_alloc();
        nolt_heaps_gc();
        lock_alloc_shared();
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
    void* reference = init_block(block, size, type, flags, array_length, zero_bytes);
    claim_ownership();
    unlock_alloc();
    return reference;
}

// The collection that an allocation may start before it looks for a block.
__attribute__((noinline)) void collect_before_allocation(bool due) {
    if (!collection_allowed()) return;
    if (due || !holds_alloc_lock()) nolt_heaps_gc();
}

// The walk shared by all allocators: trigger, find or grow, header, zeroing, in-flight slot.
// Objects get an owner stamp, arrays none. Inlined into each allocator, with the rare paths out
// of line.
inline __attribute__((always_inline)) void* allocate(const char* who, uint64_t size, const nolt_type* type,
                                                     uint32_t flags, uint64_t array_length, uint64_t zero_bytes,
                                                     bool stamp) {
    // The mark phase takes a larger header for a corrupt one and would not keep such a block alive.
    if (size > kMaxMarkableBlock) nolt_heaps_oom_abort(who, size);
    bool due = __atomic_load_n(&bytes_allocated_since_last_gc, __ATOMIC_RELAXED) >= gc_trigger_threshold;
    if (due || sw.torture) collect_before_allocation(due);
    bool owned = my_token == __atomic_load_n(&owner_token, __ATOMIC_RELAXED);
    void* reference = owned ? allocate_owned(size, type, flags, array_length, zero_bytes) : nullptr;
    if (!reference) reference = allocate_locked(who, size, type, flags, array_length, zero_bytes);
    if (stamp && nolt_owner_harness_on.load(std::memory_order_relaxed)) nolt_owner_stamp(reference);
    race_delay();
    return reference;
}

inline __attribute__((always_inline)) void* new_object(const char* who, const nolt_type* type, uint32_t flags) {
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
    return allocate(who, size, type, flags, 0, type->size, true);
}

inline __attribute__((always_inline)) void* new_array(const char* who, uint64_t element_size, uint64_t count,
                                                      const nolt_type* type, uint32_t flags) {
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
    return allocate(who, size, type, flags, count, bytes, false);
}

}  // namespace

}  // namespace heap

using namespace heap;

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
    finalizer_table_reset();
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
    owner_token = 0;
    owner_revoked = false;
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
    finalizer_table_reset();
    if (sw.verbose) fprintf(stderr, "[Heaps] Cleaned up\n");
}

int32_t nolt_heaps_size_class(uint64_t size) { return size_class(size); }

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

// Collection.

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
    if (heap_initialized && my_token == owner_token) {
        lock_alloc();
        owner_token = 0;  // another thread may own the heap now
        unlock_alloc();
    }
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
    if (my_token != owner_token) revoke_ownership();  // no other thread on the lock-free path
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
    owner_revoked = true;  // the one thread left keeps its lock-free path if it had it
    if (owner_token != my_token) owner_token = 0;
    warned_noop = false;
}

}  // extern "C"
