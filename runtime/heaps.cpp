#include "runtime/heaps.hpp"

#include "runtime/platform.hpp"

extern "C" {

__thread nolt_gc_frame* __nolt_gc_top;
__thread void* __nolt_gc_inflight;
__thread void* __nolt_gc_handoff[NOLT_GC_HANDOFF_SLOTS];

static nolt_platform_mutex* nolt_heaps_gc_mutex;
static int32_t gc_thread_count;

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

// The heap's locks join these handlers when the allocator exists.
void nolt_heaps_atfork_prepare(void) {}
void nolt_heaps_atfork_parent(void) {}
void nolt_heaps_atfork_child(void) {
    nolt_heaps_gc_mutex = nolt_platform_mutex_create();
    gc_thread_count = 0;
}

}  // extern "C"
