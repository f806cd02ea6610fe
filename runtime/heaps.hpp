// Managed heap and collector: regions of blocks with a fixed header, 16 segregated free lists,
// a stop-the-world precise mark from registered roots and shadow frames, and a lazy sweep that
// runs inside later allocations.
#pragma once
#include <stddef.h>
#include <stdint.h>

extern "C" {

enum {
    NOLT_HEADER_SIZE = 48,
    NOLT_BLOCK_ALIGN = 64,
    NOLT_FREE_LIST_COUNT = 16,
    NOLT_GC_HANDOFF_SLOTS = 32,
};

enum {
    NOLT_FLAG_PROTECTED = 2,
    NOLT_FLAG_FINALIZER = 4,
    NOLT_FLAG_POINTER_ARRAY = 16,
    NOLT_FLAG_LITERAL = 32,
    NOLT_FLAG_SUM_ARRAY = 64,
};

typedef struct nolt_type nolt_type;

// A trace entry: a payload offset holding a plain reference (null type) or a sum value.
typedef struct nolt_trace_entry {
    uint64_t offset;
    const nolt_type* type;
} nolt_trace_entry;

typedef struct nolt_variant {
    const nolt_trace_entry* entries;
    uint64_t entry_count;
} nolt_variant;

// One static record per class. Fields stay in this order.
struct nolt_type {
    uint64_t size;
    uint64_t reserved0;
    const char* name;
    const nolt_type* parent;
    const void* vtable;
    uint64_t reserved1;
    const uint64_t* pointers;
    uint64_t pointer_count;
    const nolt_trace_entry* entries;
    uint64_t entry_count;
    const nolt_variant* variants;
    uint64_t variant_count;
};

// Every block starts with this header; a reference points just behind it.
typedef struct nolt_block {
    uint64_t block_size;
    uint64_t mark;
    uint32_t flags;
    int32_t string_length;
    const nolt_type* type;
    uint64_t array_length;
    struct nolt_block* link;
} nolt_block;

typedef struct nolt_region {
    void* base;
    uint64_t total_size;
    nolt_block* first_block;
    char* end;
    struct nolt_region* next;
    uint64_t reserved[3];
} nolt_region;

// One frame of the shadow stack: the addresses of the locals that hold references.
typedef struct nolt_gc_frame {
    struct nolt_gc_frame* previous;
    uint32_t slot_count;
    uint32_t reserved;
    void** slots[];
} nolt_gc_frame;

typedef struct nolt_gc_stats {
    uint64_t collections;
    uint64_t marked;
    uint64_t swept;
    uint64_t total_allocated;
    uint64_t total_freed;
    uint64_t live_bytes;
    uint32_t last_gc_us;
    uint32_t last_sweep_us;
    uint64_t sweep_quanta;
    uint64_t sweep_blocks;
    uint32_t sweep_max_us;
    uint32_t mark_us;
    uint32_t pause_us;
} nolt_gc_stats;

typedef void (*nolt_finalizer_fn)(void* object);

extern const nolt_type array_type_sentinel;
extern const nolt_type free_block_sentinel;

extern __thread nolt_gc_frame* __nolt_gc_top;
extern __thread void* __nolt_gc_inflight;
extern __thread void* __nolt_gc_handoff[NOLT_GC_HANDOFF_SLOTS];

static inline nolt_block* nolt_block_of(const void* reference) {
    return (nolt_block*)((char*)reference - NOLT_HEADER_SIZE);
}

// Regions, where the heap meets the system allocator.
nolt_block* nolt_machine_expand_heap(uint64_t size);
nolt_region* nolt_machine_get_memory_blocks(void);
bool nolt_machine_release_memory_block(nolt_region* region);
uint64_t nolt_machine_region_size(void);

// Allocation.
void nolt_heaps_init(void);
void nolt_heaps_cleanup(void);
void* nolt_heaps_new_object(const nolt_type* type);
void* nolt_heaps_new_protected_object(const nolt_type* type);
void* nolt_heaps_new_array(uint64_t element_size, uint64_t count);
void* nolt_heaps_new_ptr_array(uint64_t count);
void* nolt_heaps_new_enum_array(const nolt_type* element_type, uint64_t count);
void* nolt_heaps_new_sys(size_t size);
void nolt_heaps_dispose_sys(void* pointer);
nolt_region* nolt_heaps_find_memory_block_by_start(nolt_region* head, const void* address);
uint64_t nolt_heaps_alloc_lock_holder(void);
bool nolt_heaps_validate(void);
void nolt_heaps_dump_stats(void);
int32_t nolt_heaps_size_class(uint64_t size);
nolt_block* nolt_heaps_free_list_head(int32_t size_class);
uint64_t nolt_heaps_current_mark_value(void);
uint64_t nolt_heaps_trigger_threshold(void);
uint64_t nolt_heaps_bytes_since_gc(void);
[[noreturn]] void nolt_heaps_oom_abort(const char* where, size_t size);
[[noreturn]] void nolt_heaps_size_abort(int64_t count, size_t element_size);
[[noreturn]] void nolt_heaps_finalizer_alloc_abort(void);

bool nolt_type_is(const void* object, const nolt_type* type);
void* nolt_type_as(void* object, const nolt_type* type);
const nolt_type* nolt_type_id(const void* object);
const char* nolt_type_name_raw(const void* object);
void* nolt_type_name(const void* object);  // a managed copy of the name

// Collection.
void nolt_heaps_gc(void);
void nolt_heaps_lazy_sweep_gc(void);
void nolt_heaps_invoke_gc(void);
void nolt_heaps_disable_gc(void);
extern void (*nolt_heaps_gc_hook)(void);
void nolt_heaps_register_roots(void* table_address, int64_t count);
void nolt_heaps_unregister_roots(void* table_address);
void nolt_heaps_enumerate_roots(void (*function)(void** slot));
void nolt_heaps_register_global_root(void* address);
void nolt_heaps_mark_root(void* reference);
void nolt_heaps_mark_stack_push(nolt_block* block);
nolt_block* nolt_heaps_mark_stack_pop(void);
bool nolt_heaps_mark_stack_is_empty(void);
void nolt_heaps_add_finalizer(void* object, nolt_finalizer_fn function);
void nolt_heaps_remove_finalizer(void* object);
void nolt_heaps_finalizer_stats(uint64_t out[5]);
nolt_gc_stats* nolt_heaps_get_gc_stats(void);
bool nolt_heaps_sweep_epoch_clean(void);
int64_t nolt_heaps_test_lazy_sweep_probe(uint64_t size);
void nolt_heaps_sweep_all(void);
bool nolt_heaps_is_live(const void* reference);

// Verification mode: every collection poisons the payload of each block that it found dead,
// so that a reference that escaped the roots reads garbage, and handles check liveness.
extern bool nolt_heaps_verify;
enum { NOLT_POISON_BYTE = 0xdb };

// Thread registration and fork.
void nolt_heaps_stw_init(void);
void nolt_heaps_stw_cleanup(void);
void nolt_heaps_register_thread(void);
void nolt_heaps_unregister_thread(void);
int32_t nolt_heaps_gc_thread_count(void);
extern bool nolt_heaps_is_forked_child;

void nolt_heaps_atfork_prepare(void);
void nolt_heaps_atfork_parent(void);
void nolt_heaps_atfork_child(void);

}  // extern "C"
