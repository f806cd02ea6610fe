// Managed heap: per-thread root state and thread registration. The allocators and the collector
// join this header as they are built.
#pragma once
#include <stddef.h>
#include <stdint.h>

extern "C" {

enum { NOLT_GC_HANDOFF_SLOTS = 32 };

// One frame of the shadow stack: the addresses of the locals that hold references.
typedef struct nolt_gc_frame {
    struct nolt_gc_frame* previous;
    uint32_t slot_count;
    uint32_t reserved;
    void** slots[];
} nolt_gc_frame;

extern __thread nolt_gc_frame* __nolt_gc_top;
extern __thread void* __nolt_gc_inflight;
extern __thread void* __nolt_gc_handoff[NOLT_GC_HANDOFF_SLOTS];

void nolt_heaps_stw_init(void);
void nolt_heaps_stw_cleanup(void);
void nolt_heaps_register_thread(void);
void nolt_heaps_unregister_thread(void);
int32_t nolt_heaps_gc_thread_count(void);

void nolt_heaps_atfork_prepare(void);
void nolt_heaps_atfork_parent(void);
void nolt_heaps_atfork_child(void);

}  // extern "C"
