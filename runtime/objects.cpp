#include "runtime/objects.hpp"

#include <stdio.h>
#include <stdlib.h>

extern "C" {

namespace {

struct Objects {
    bool initialized;
    nolt_process* process_list;
    int32_t next_pid;
    int32_t process_count;
    nolt_platform_mutex* process_list_mutex;
    nolt_platform_mutex* creation_mutex;
    nolt_platform_mutex* registration_mutex;
    nolt_platform_mutex* start_mutex;
    nolt_platform_mutex* timeout_mutex;
    nolt_platform_mutex* lock_parts_mutex;
    nolt_platform_condvar* start_condition;
    nolt_platform_condvar* timeout_condition;
} g_objects;

// While the world is stopped a stopped thread may hold a stream lock: these messages bypass stdio.
#define STOP_FATAL(...)                            \
    do {                                           \
        nolt_platform_fatal_write(__VA_ARGS__);    \
        abort();                                   \
    } while (0)

void make_mutexes() {
    nolt_platform_mutex** mutexes[] = {&g_objects.process_list_mutex, &g_objects.creation_mutex,
                                       &g_objects.registration_mutex, &g_objects.start_mutex,
                                       &g_objects.timeout_mutex,      &g_objects.lock_parts_mutex};
    for (nolt_platform_mutex** m : mutexes) {
        *m = nolt_platform_mutex_create();
        if (!*m) {
            fprintf(stderr, "nolt: fatal: mutex creation failed\n");
            abort();
        }
    }
    g_objects.start_condition = nolt_platform_condvar_create();
    g_objects.timeout_condition = nolt_platform_condvar_create();
    if (!g_objects.start_condition || !g_objects.timeout_condition) {
        fprintf(stderr, "nolt: fatal: condvar creation failed\n");
        abort();
    }
}

nolt_process* register_current(void* stack_base, bool spawn) {
    auto* record = (nolt_process*)calloc(1, sizeof(nolt_process));
    if (!record) return nullptr;
    record->thread_id = nolt_platform_thread_self_id();
    record->stack_base = stack_base;
    record->pid = -1;
    record->mode = NOLT_MODE_RUNNING;
    record->priority = 1;
    record->self = record;
    record->is_spawn = spawn;
    record->condition = nolt_platform_condvar_create();
    nolt_platform_mutex_lock(g_objects.registration_mutex);
    nolt_platform_tls_set(record);
    nolt_heaps_register_thread();
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    record->pid = g_objects.next_pid++;
    record->next = g_objects.process_list;
    g_objects.process_list = record;
    g_objects.process_count++;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    nolt_platform_mutex_unlock(g_objects.registration_mutex);
    return record;
}

void scan_frames(const nolt_gc_frame* frame) {
    for (; frame; frame = frame->previous)
        for (uint32_t i = 0; i < frame->slot_count; i++)
            if (void** slot = frame->slots[i]) nolt_heaps_mark_root(*slot);
}

}  // namespace

void nolt_objects_init(void) {
    g_objects = {};
    make_mutexes();
    nolt_platform_tls_init();
    nolt_platform_gc_suspend_init();
    g_objects.initialized = true;
}

nolt_process* nolt_objects_register_main_process(void* stack_base) { return register_current(stack_base, false); }

nolt_process* nolt_objects_register_spawn(void) {
    int marker;
    nolt_process* record = register_current(&marker, true);
    if (!record)
        fprintf(stderr, "nolt: warning: spawn thread registration failed (OOM) -- running without GC visibility\n");
    return record;
}

void nolt_objects_deregister_spawn(void) {
    auto* record = (nolt_process*)nolt_platform_tls_get();
    if (!record) return;
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    for (nolt_process** link = &g_objects.process_list; *link; link = &(*link)->next) {
        if (*link != record) continue;
        *link = record->next;
        g_objects.process_count--;
        break;
    }
    record->mode = NOLT_MODE_TERMINATED;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    nolt_platform_tls_set(nullptr);
    nolt_heaps_unregister_thread();
    nolt_platform_condvar_destroy(record->condition);
    free(record);
}

nolt_process* nolt_objects_current_process(void) { return (nolt_process*)nolt_platform_tls_get(); }

int32_t nolt_objects_process_count(void) {
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    int32_t count = g_objects.process_count;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    return count;
}

int32_t nolt_objects_get_process_id(nolt_process* record) { return record ? record->pid : -1; }

// Lock first, then suspend: the caller holds the collector's locks, so no thread stopped here
// can be holding the allocation lock.
void nolt_objects_suspend_activities(void) {
    if (!g_objects.initialized) return;
    nolt_process* self = nolt_objects_current_process();
    if (self) {
        self->saved_gc_top = __nolt_gc_top;
        self->saved_inflight = __nolt_gc_inflight;
        self->saved_handoff = __nolt_gc_handoff;
    }
    uint64_t holder = nolt_heaps_alloc_lock_holder();
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    nolt_platform_gc_stop_begin();
    for (nolt_process* p = g_objects.process_list; p; p = p->next) {
        if (p == self) continue;
        if (p->mode == NOLT_MODE_TERMINATED)
            STOP_FATAL(
                "nolt: fatal: GC suspend walk found a LINKED process in TERMINATED mode (pid=%d) — the D26/BUG-295 "
                "invariant is broken; some path now sets the mode outside the process_list_mutex section that "
                "unlinks\n",
                p->pid);
        if (holder && p->thread_id == holder)
            STOP_FATAL("nolt: fatal: GC suspension targeted the heap_alloc_lock holder (pid=%d) — L5 lock-then-suspend "
                  "discipline violated\n",
                  p->pid);
        if (!nolt_platform_gc_suspend_thread(p->thread_id, &p->saved_gc_top, &p->saved_inflight, &p->saved_handoff))
            STOP_FATAL("nolt: fatal: GC could not suspend registered thread (pid=%d)\n", p->pid);
        p->gc_suspended = 1;
    }
}

void nolt_objects_resume_activities(void) {
    if (!g_objects.initialized) return;
    nolt_platform_gc_resume_begin();
    for (nolt_process* p = g_objects.process_list; p; p = p->next) {
        if (!p->gc_suspended) continue;
        p->gc_suspended = 0;
        nolt_platform_gc_resume_thread(p->thread_id);
    }
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
}

void nolt_objects_find_roots(nolt_process* record) {
    if (record && record->object) nolt_heaps_mark_root(record->object);
}

void nolt_objects_scan_all_stacks(void) {
    for (nolt_process* p = g_objects.process_list; p; p = p->next) {
        nolt_objects_find_roots(p);
        scan_frames((const nolt_gc_frame*)p->saved_gc_top);
        nolt_heaps_mark_root(p->saved_inflight);
        if (auto** handoff = (void**)p->saved_handoff)
            for (int i = 0; i < NOLT_GC_HANDOFF_SLOTS; i++) nolt_heaps_mark_root(handoff[i]);
    }
}

void nolt_objects_atfork_prepare(void) {
    if (g_objects.initialized) nolt_platform_mutex_lock(g_objects.process_list_mutex);
}

void nolt_objects_atfork_parent(void) {
    if (g_objects.initialized) nolt_platform_mutex_unlock(g_objects.process_list_mutex);
}

// Only the forking thread exists in the child: keep its record alone and remake every lock.
void nolt_objects_atfork_child(void) {
    if (!g_objects.initialized) return;
    nolt_process* self = nolt_objects_current_process();
    for (nolt_process* p = g_objects.process_list; p;) {
        nolt_process* next = p->next;
        if (p != self) free(p);
        p = next;
    }
    make_mutexes();
    g_objects.process_list = self;
    g_objects.process_count = self ? 1 : 0;
    g_objects.next_pid = self ? self->pid + 1 : 1;
    if (self) {
        self->next = nullptr;
        self->saved_gc_top = self->saved_inflight = self->saved_handoff = nullptr;
        self->gc_suspended = 0;
        self->condition = nolt_platform_condvar_create();
        nolt_heaps_register_thread();
    }
}

// The owner harness is a debugging aid that this program never enables; it has no state to
// protect across a fork.
void nolt_owner_atfork_prepare(void) {}
void nolt_owner_atfork_parent(void) {}
void nolt_owner_atfork_child(void) {}

}  // extern "C"
