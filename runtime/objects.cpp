#include "runtime/objects.hpp"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>

#include "runtime/platform.hpp"
#include "runtime/values.hpp"

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
    nolt_timer* timeout_list;
    nolt_timer* firing;  // the timer whose callback runs now
    nolt_platform_thread* timeout_thread;
    bool timeout_running;
} g_objects;

std::atomic<int32_t> g_exclusive_holder_count;

constexpr size_t kProcessStack = 2u << 20;
constexpr int32_t kRealtimePriority = 4;

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

nolt_process* new_record(void* stack_base, bool spawn) {
    auto* record = (nolt_process*)calloc(1, sizeof(nolt_process));
    if (!record) return nullptr;
    record->condition = nolt_platform_condvar_create();
    if (!record->condition) {
        free(record);
        return nullptr;
    }
    record->thread_id = nolt_platform_thread_self_id();
    record->stack_base = stack_base;
    record->pid = -1;
    record->mode = NOLT_MODE_RUNNING;
    record->priority = 1;
    record->self = record;
    record->is_spawn = spawn;
    return record;
}

void free_record(nolt_process* record) {
    nolt_platform_condvar_destroy(record->condition);
    free(record);
}

// Makes `record` the calling thread's, counts the thread and puts it on the list.
void link_current(nolt_process* record) {
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
}

nolt_process* register_current(void* stack_base, bool spawn) {
    nolt_process* record = new_record(stack_base, spawn);
    if (record) link_current(record);
    return record;
}

// Takes `record` off the list and marks it TERMINATED in one section, so that the collector never
// meets a listed TERMINATED process. False if it was not listed.
bool unlink_terminated(nolt_process* record) {
    bool found = false;
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    for (nolt_process** link = &g_objects.process_list; *link; link = &(*link)->next) {
        if (*link != record) continue;
        *link = record->next;
        g_objects.process_count--;
        found = true;
        break;
    }
    record->mode = NOLT_MODE_TERMINATED;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    return found;
}

void scan_frames(const nolt_gc_frame* frame) {
    for (; frame; frame = frame->previous)
        for (uint32_t i = 0; i < frame->slot_count; i++)
            if (void** slot = frame->slots[i]) nolt_heaps_mark_root(*slot);
}

// ---- processes started here ----------------------------------------------------------------

struct Start {
    nolt_process* record;
    bool started;
};

void* body_starter(void* argument) {
    auto* start = (Start*)argument;
    nolt_process* record = start->record;
    int marker;
    record->stack_base = &marker;
    record->thread_id = nolt_platform_thread_self_id();
    link_current(record);
    if (record->priority == kRealtimePriority) nolt_objects_set_priority(record, kRealtimePriority);
    nolt_platform_mutex_lock(g_objects.start_mutex);
    start->started = true;  // `start` belongs to the creator from here on
    nolt_platform_condvar_broadcast(g_objects.start_condition);
    nolt_platform_mutex_unlock(g_objects.start_mutex);
    if (record->catches_exit) {
        if (setjmp(record->jump_buffer) == 0) record->body(record->object);
    } else {
        record->body(record->object);
    }
    nolt_objects_exit_process();
}

// ---- protected objects ---------------------------------------------------------------------

nolt_protected* header_of(void* object) { return (nolt_protected*)object; }

bool is_protected(const void* object) { return object && (nolt_block_of(object)->flags & NOLT_FLAG_PROTECTED); }

nolt_lock_parts* lock_parts_of(nolt_protected* header) {
    if (nolt_lock_parts* parts = __atomic_load_n(&header->lock_parts, __ATOMIC_ACQUIRE)) return parts;
    nolt_platform_mutex_lock(g_objects.lock_parts_mutex);
    if (!header->lock_parts) {
        auto* parts = (nolt_lock_parts*)calloc(1, sizeof(nolt_lock_parts));
        if (!parts) nolt_runtime_error("failed to allocate lock");
        parts->mutex = nolt_platform_mutex_create();
        parts->condition = nolt_platform_condvar_create();
        if (!parts->mutex || !parts->condition) nolt_runtime_error("failed to initialize lock primitives");
        __atomic_store_n(&header->lock_parts, parts, __ATOMIC_RELEASE);
    }
    nolt_platform_mutex_unlock(g_objects.lock_parts_mutex);
    return header->lock_parts;
}

[[noreturn]] void outside_process(const char* operation, void* object, const char* exclusive) {
    nolt_platform_before_fatal();
    fprintf(stderr,
            "\nFATAL ERROR: %s() called from non-process context!\n"
            "  Lock operations require Active Object process context.\n"
            "  Use nolt_objects_create_process(), NOT pthread_create().\n",
            operation);
    if (exclusive) fprintf(stderr, "  Object: %p, Exclusive: %s\n\n", object, exclusive);
    else fprintf(stderr, "  Object: %p\n\n", object);
    abort();
}

void queue_append(nolt_process*& head, nolt_process*& tail, nolt_process* record) {
    record->queue_next = nullptr;
    if (tail) tail->queue_next = record;
    else head = record;
    tail = record;
}

void queue_remove(nolt_process*& head, nolt_process*& tail, nolt_process* record) {
    nolt_process* previous = nullptr;
    for (nolt_process* p = head; p; previous = p, p = p->queue_next) {
        if (p != record) continue;
        (previous ? previous->queue_next : head) = p->queue_next;
        if (tail == p) tail = previous;
        p->queue_next = nullptr;
        return;
    }
}

// Passes a released exclusive hold on, under the object's mutex: straight to the first awaiting
// process whose condition now holds, else to whoever the lock's waiters let take it.
void hand_on(nolt_protected* header, nolt_lock_parts* parts) {
    for (nolt_process* p = header->await_head; p; p = p->queue_next) {
        if (!p->await_condition(p->await_argument)) continue;
        queue_remove(header->await_head, header->await_tail, p);
        header->exclusive_owner = p;
        nolt_platform_condvar_signal(p->condition);
        return;
    }
    header->exclusive_owner = nullptr;
    nolt_platform_condvar_broadcast(parts->condition);
}

// A process cancelled while it waits for a lock withdraws a writer's claim, which the other
// waiting writers make again when they wake, and releases the mutex.
void lock_cancelled(void* argument) {
    auto* header = (nolt_protected*)argument;
    header->exclusive_pending = 0;
    nolt_platform_condvar_broadcast(header->lock_parts->condition);
    nolt_platform_mutex_unlock(header->lock_parts->mutex);
}

struct AwaitWait {
    nolt_protected* header;
    nolt_lock_parts* parts;
    nolt_process* self;
};

// A process cancelled in nolt_objects_await leaves the queue and passes on a hold it was given.
void await_cancelled(void* argument) {
    auto* wait = (AwaitWait*)argument;
    queue_remove(wait->header->await_head, wait->header->await_tail, wait->self);
    if (wait->header->exclusive_owner == wait->self) hand_on(wait->header, wait->parts);
    nolt_platform_mutex_unlock(wait->parts->mutex);
}

}  // namespace

// ---- timeouts ------------------------------------------------------------------------------

namespace {

int32_t now_ms() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int32_t)(uint32_t)((uint64_t)now.tv_sec * 1000 + (uint64_t)now.tv_nsec / 1000000);
}

// Milliseconds from `b` to `a`, on a clock that wraps.
int32_t ms_between(int32_t a, int32_t b) { return (int32_t)((uint32_t)a - (uint32_t)b); }

void unlink_timer(nolt_timer* timer) {
    for (nolt_timer** link = &g_objects.timeout_list; *link; link = &(*link)->next) {
        if (*link != timer) continue;
        *link = timer->next;
        timer->next = nullptr;
        return;
    }
}

// Idle, the thread waits on its condition without a time limit: no timer, no wake-up.
void* timer_thread_proc(void*) {
    nolt_platform_mutex_lock(g_objects.timeout_mutex);
    while (g_objects.timeout_running) {
        nolt_timer* head = g_objects.timeout_list;
        if (!head) {
            nolt_platform_condvar_wait(g_objects.timeout_condition, g_objects.timeout_mutex);
            continue;
        }
        int32_t left = ms_between(head->deadline, now_ms());
        if (left > 0) {
            nolt_platform_condvar_timedwait(g_objects.timeout_condition, g_objects.timeout_mutex, (int64_t)left * 1000);
            continue;
        }
        g_objects.timeout_list = head->next;
        head->next = nullptr;
        g_objects.firing = head;
        nolt_platform_mutex_unlock(g_objects.timeout_mutex);
        head->callback(head);
        nolt_platform_mutex_lock(g_objects.timeout_mutex);
        g_objects.firing = nullptr;
        nolt_platform_condvar_broadcast(g_objects.timeout_condition);
    }
    nolt_platform_mutex_unlock(g_objects.timeout_mutex);
    return nullptr;
}

void start_timeout_thread() {
    g_objects.timeout_running = true;
    g_objects.timeout_thread = nolt_platform_thread_create(timer_thread_proc, nullptr, 0);
    if (!g_objects.timeout_thread) {
        g_objects.timeout_running = false;
        perror("Failed to create timeout thread");
    }
}

void stop_timeout_thread() {
    if (!g_objects.timeout_thread) return;
    nolt_platform_mutex_lock(g_objects.timeout_mutex);
    g_objects.timeout_running = false;
    nolt_platform_condvar_broadcast(g_objects.timeout_condition);
    nolt_platform_mutex_unlock(g_objects.timeout_mutex);
    nolt_platform_thread_join(g_objects.timeout_thread);
    g_objects.timeout_thread = nullptr;
}

}  // namespace

nolt_timer* nolt_objects_create_timer(void) { return (nolt_timer*)calloc(1, sizeof(nolt_timer)); }

void nolt_objects_set_timeout(nolt_timer* timer, void (*callback)(nolt_timer* timer), int32_t delay) {
    if (!timer || !callback) return;
    nolt_platform_mutex_lock(g_objects.timeout_mutex);
    unlink_timer(timer);
    timer->callback = callback;
    timer->deadline = (int32_t)((uint32_t)now_ms() + (uint32_t)(delay > 0 ? delay : 0));
    nolt_timer** link = &g_objects.timeout_list;
    while (*link && ms_between((*link)->deadline, timer->deadline) <= 0) link = &(*link)->next;
    timer->next = *link;
    *link = timer;
    nolt_platform_condvar_broadcast(g_objects.timeout_condition);
    nolt_platform_mutex_unlock(g_objects.timeout_mutex);
}

void nolt_objects_cancel_timeout(nolt_timer* timer) {
    if (!timer) return;
    nolt_platform_mutex_lock(g_objects.timeout_mutex);
    unlink_timer(timer);
    nolt_platform_mutex_unlock(g_objects.timeout_mutex);
}

void nolt_objects_free_timer(nolt_timer* timer) {
    if (!timer) return;
    nolt_platform_mutex_lock(g_objects.timeout_mutex);
    unlink_timer(timer);
    bool on_timeout_thread = g_objects.timeout_thread &&
                             nolt_platform_thread_id_equal(nolt_platform_thread_get_id(g_objects.timeout_thread),
                                                           nolt_platform_thread_self_id());
    while (g_objects.firing == timer && !on_timeout_thread)
        nolt_platform_condvar_wait(g_objects.timeout_condition, g_objects.timeout_mutex);
    nolt_platform_mutex_unlock(g_objects.timeout_mutex);
    free(timer);
}

// ---- diagnostics ---------------------------------------------------------------------------

namespace {

const char* mode_name(int32_t mode) {
    static const char* const names[] = {"READY",         "RUNNING",        "AWAITING_LOCK",
                                        "AWAITING_COND", "AWAITING_EVENT", "TERMINATED"};
    return mode >= 0 && mode <= NOLT_MODE_TERMINATED ? names[mode] : "UNKNOWN";
}

// Walks the list under its mutex; with `print`, reports each inconsistency on stderr. The simple
// check counts only records that wait without saying on what.
int32_t check_locks(bool print, bool simple) {
    int32_t found = 0;
    auto report = [&](const char* format, auto... values) {
        found++;
        if (print) fprintf(stderr, format, values...);
    };
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    for (nolt_process* p = g_objects.process_list; p; p = p->next) {
        if (p->mode == NOLT_MODE_AWAITING_LOCK && !p->awaited_object)
            report("[LockValidation] Process %d: awaiting lock with no target object\n", p->pid);
        if (p->mode == NOLT_MODE_AWAITING_COND && !p->await_condition)
            report("[LockValidation] Process %d: awaiting condition with no condition function\n", p->pid);
        if (simple) continue;
        if (p->mode == NOLT_MODE_AWAITING_LOCK && is_protected(p->awaited_object)) {
            nolt_process* owner = header_of(p->awaited_object)->exclusive_owner;
            if (owner && owner->mode == NOLT_MODE_TERMINATED)
                report("[LockValidation] Process %d: waiting on lock held by terminated process %d\n", p->pid,
                       owner->pid);
        }
        for (void* object : {p->awaited_object, p->object})
            if (is_protected(object) && header_of(object)->shared_count < 0)
                report("[LockValidation] Object %p: negative lock count %d\n", object,
                       header_of(object)->shared_count);
    }
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    if (print && found) fprintf(stderr, "[LockValidation] Found %d lock inconsistencies\n", found);
    return found;
}

}  // namespace

int32_t nolt_objects_check_locks_simple(void) { return check_locks(false, true); }

int32_t nolt_objects_validate_locks(void) { return check_locks(true, false); }

void nolt_objects_dump_process_list(void) {
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    fprintf(stderr, "Process List (%d processes):\n", g_objects.process_count);
    for (nolt_process* p = g_objects.process_list; p; p = p->next)
        fprintf(stderr, "  PID %d: mode=%s, priority=%d\n", p->pid, mode_name(p->mode), p->priority);
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
}

void nolt_objects_init(void) {
    if (g_objects.initialized) return;
    g_objects = {};
    make_mutexes();
    nolt_platform_tls_init();
    nolt_platform_gc_suspend_init();
    g_objects.initialized = true;
    start_timeout_thread();
}

void nolt_objects_cleanup(void) {
    if (!g_objects.initialized) return;
    nolt_process* self = nolt_objects_current_process();
    if (self && self->is_spawn) nolt_objects_deregister_spawn();
    else if (self) {
        unlink_terminated(self);
        nolt_platform_tls_set(nullptr);
        nolt_heaps_unregister_thread();
        free_record(self);
    }
    stop_timeout_thread();
    for (;;) {
        nolt_platform_mutex_lock(g_objects.process_list_mutex);
        nolt_process* p = g_objects.process_list;
        nolt_platform_mutex_unlock(g_objects.process_list_mutex);
        if (!p) break;
        if (p->thread) nolt_objects_cancel_process(p);
        else unlink_terminated(p);  // a thread started elsewhere keeps its record
    }
    g_objects.initialized = false;
    nolt_platform_mutex_destroy(g_objects.process_list_mutex);
    nolt_platform_mutex_destroy(g_objects.creation_mutex);
    nolt_platform_mutex_destroy(g_objects.registration_mutex);
    nolt_platform_mutex_destroy(g_objects.start_mutex);
    nolt_platform_mutex_destroy(g_objects.timeout_mutex);
    nolt_platform_mutex_destroy(g_objects.lock_parts_mutex);
    nolt_platform_condvar_destroy(g_objects.start_condition);
    nolt_platform_condvar_destroy(g_objects.timeout_condition);
    nolt_platform_tls_cleanup();
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
    unlink_terminated(record);
    nolt_platform_tls_set(nullptr);
    nolt_heaps_unregister_thread();
    free_record(record);
}

nolt_process* nolt_objects_create_process(void (*body)(void* object), int32_t priority, bool catches_exit,
                                          void* object) {
    if (!body || !g_objects.initialized) return nullptr;
    nolt_platform_mutex_lock(g_objects.creation_mutex);
    nolt_process* record = new_record(nullptr, false);
    if (!record) {
        nolt_platform_mutex_unlock(g_objects.creation_mutex);
        return nullptr;
    }
    record->body = body;
    record->priority = priority;
    record->catches_exit = catches_exit;
    record->object = object;
    Start start = {record, false};
    nolt_platform_mutex_lock(g_objects.start_mutex);
    record->thread = nolt_platform_thread_create(body_starter, &start, kProcessStack);
    while (record->thread && !start.started)
        nolt_platform_condvar_wait(g_objects.start_condition, g_objects.start_mutex);
    nolt_platform_mutex_unlock(g_objects.start_mutex);
    nolt_platform_mutex_unlock(g_objects.creation_mutex);
    if (!record->thread) {
        free_record(record);
        return nullptr;
    }
    return record;
}

void nolt_objects_exit_process(void) {
    nolt_process* self = nolt_objects_current_process();
    if (self) {
        void* object = self->object;
        if (is_protected(object) && header_of(object)->exclusive_owner == self) {
            header_of(object)->exclusive_depth = 1;
            nolt_objects_unlock(object);
        }
        unlink_terminated(self);
        nolt_platform_tls_set(nullptr);
        nolt_heaps_unregister_thread();
    }
    nolt_platform_thread_exit(nullptr);
}

void nolt_objects_cancel_process(nolt_process* record) {
    if (!record) return;
    if (record == nolt_objects_current_process()) nolt_objects_exit_process();
    if (record->is_spawn) {  // its thread goes on, and deregisters itself
        unlink_terminated(record);
        return;
    }
    if (!record->thread) return;  // the main thread is never cancelled
    if (unlink_terminated(record)) nolt_heaps_unregister_thread();
    nolt_platform_thread_cancel(record->thread_id);
    nolt_platform_thread_join(record->thread);
    free_record(record);
}

void nolt_objects_join_process(nolt_process* record) {
    if (!record || !record->thread) return;
    nolt_platform_thread_join(record->thread);
    free_record(record);
}

nolt_process* nolt_objects_current_process(void) { return (nolt_process*)nolt_platform_tls_get(); }

int32_t nolt_objects_process_count(void) {
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    int32_t count = g_objects.process_count;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    return count;
}

int32_t nolt_objects_get_process_id(nolt_process* record) { return record ? record->pid : -1; }

int32_t nolt_objects_get_priority(nolt_process* record) { return record ? record->priority : 1; }

int32_t nolt_objects_set_priority(nolt_process* record, int32_t priority) {
    if (!record) return 0;
    record->priority = priority;
    return nolt_platform_thread_set_priority(record->thread_id, priority, priority == kRealtimePriority);
}

int32_t nolt_objects_get_waiting_count(void) {
    int32_t count = 0;
    nolt_platform_mutex_lock(g_objects.process_list_mutex);
    for (nolt_process* p = g_objects.process_list; p; p = p->next)
        count += p->mode >= NOLT_MODE_AWAITING_LOCK && p->mode <= NOLT_MODE_AWAITING_EVENT;
    nolt_platform_mutex_unlock(g_objects.process_list_mutex);
    return count;
}

int32_t nolt_objects_exclusive_holder_count(void) { return g_exclusive_holder_count.load(); }

void nolt_objects_yield(void) { nolt_platform_thread_yield(); }
void nolt_objects_yield_or_gc(void) { nolt_platform_thread_yield(); }
void nolt_objects_sleep(int32_t milliseconds) { nolt_platform_sleep_us((int64_t)milliseconds * 1000); }
bool nolt_objects_gc_concurrent(void) { return false; }

// ---- locks ---------------------------------------------------------------------------------

void nolt_objects_lock(void* object, bool exclusive) {
    nolt_process* self = nolt_objects_current_process();
    if (!self) outside_process("nolt_objects_lock", object, exclusive ? "true" : "false");
    if (!object) return;
    nolt_protected* header = header_of(object);
    nolt_lock_parts* parts = lock_parts_of(header);
    self->mode = NOLT_MODE_AWAITING_LOCK;
    self->awaited_object = object;
    nolt_platform_mutex_lock(parts->mutex);
    // An exclusive holder that asks again, either way, goes deeper into its own hold.
    bool owned = header->exclusive_owner == self;
    pthread_cleanup_push(lock_cancelled, header);
    if (owned) {
        header->exclusive_depth++;
    } else if (exclusive) {
        while (header->exclusive_owner || header->shared_count > 0) {
            header->exclusive_pending = 1;  // again at every wake-up: another writer may have cleared it
            nolt_platform_condvar_wait(parts->condition, parts->mutex);
        }
        header->exclusive_owner = self;
        header->exclusive_depth = 1;
        header->exclusive_pending = 0;
        g_exclusive_holder_count++;
    } else {
        while (header->exclusive_owner || header->exclusive_pending)
            nolt_platform_condvar_wait(parts->condition, parts->mutex);
        header->shared_count++;
    }
    pthread_cleanup_pop(0);
    self->mode = NOLT_MODE_RUNNING;
    self->awaited_object = nullptr;
    nolt_platform_mutex_unlock(parts->mutex);
    nolt_owner_enter_ao(object, exclusive || owned);
}

void nolt_objects_unlock(void* object) {
    nolt_process* self = nolt_objects_current_process();
    if (!self) outside_process("nolt_objects_unlock", object, nullptr);
    if (!object || !header_of(object)->lock_parts) return;
    nolt_protected* header = header_of(object);
    nolt_lock_parts* parts = header->lock_parts;
    nolt_platform_mutex_lock(parts->mutex);
    if (header->exclusive_owner == self) {
        if (--header->exclusive_depth == 0) {
            g_exclusive_holder_count--;
            hand_on(header, parts);
        }
    } else if (--header->shared_count == 0) {
        nolt_platform_condvar_broadcast(parts->condition);
    }
    nolt_platform_mutex_unlock(parts->mutex);
    nolt_owner_leave_ao(object);
}

void nolt_objects_await(nolt_await_fn condition, void* argument, void* object) {
    nolt_process* self = nolt_objects_current_process();
    if (!argument || !condition || !self || !object || condition(argument)) return;
    nolt_protected* header = header_of(object);
    nolt_lock_parts* parts = header->lock_parts;
    if (!parts) return;
    nolt_platform_mutex_lock(parts->mutex);
    if (header->exclusive_owner != self) {
        nolt_platform_mutex_unlock(parts->mutex);
        return;
    }
    self->await_condition = condition;
    self->await_argument = argument;
    int32_t depth = header->exclusive_depth;
    queue_append(header->await_head, header->await_tail, self);
    g_exclusive_holder_count--;
    nolt_owner_leave_ao(object);
    header->exclusive_depth = 0;
    hand_on(header, parts);  // the caller is in the queue too: its condition is tested again
    self->mode = NOLT_MODE_AWAITING_COND;
    AwaitWait wait = {header, parts, self};
    pthread_cleanup_push(await_cancelled, &wait);
    while (header->exclusive_owner != self) nolt_platform_condvar_wait(self->condition, parts->mutex);
    pthread_cleanup_pop(0);
    header->exclusive_depth = depth;
    self->mode = NOLT_MODE_RUNNING;
    self->await_condition = nullptr;
    self->await_argument = nullptr;
    g_exclusive_holder_count++;
    nolt_platform_mutex_unlock(parts->mutex);
    nolt_owner_enter_ao(object, true);
}

nolt_protected* nolt_objects_init_protected(nolt_protected* header) {
    if (!header) return (nolt_protected*)calloc(1, sizeof(nolt_protected));
    *header = {};
    return header;
}

void nolt_objects_cleanup_protected(nolt_protected* header) {
    if (!header || !header->lock_parts) return;
    nolt_platform_mutex_destroy(header->lock_parts->mutex);
    nolt_platform_condvar_destroy(header->lock_parts->condition);
    free(header->lock_parts);
    header->lock_parts = nullptr;
}

// ---- queues --------------------------------------------------------------------------------

void nolt_objects_queue_init(nolt_queue* queue) { *queue = {}; }

void nolt_objects_queue_put(nolt_queue* queue, nolt_process* record) {
    if (queue && record) queue_append(queue->head, queue->tail, record);
}

nolt_process* nolt_objects_queue_get(nolt_queue* queue) {
    nolt_process* first = queue ? queue->head : nullptr;
    if (first) queue_remove(queue->head, queue->tail, first);
    return first;
}

bool nolt_objects_queue_empty(const nolt_queue* queue) { return !queue || !queue->head; }

// ---- transitions to foreign code -------------------------------------------------------------

void nolt_objects_leave_managed(void) {
    nolt_process* self = nolt_objects_current_process();
    if (!self || self->transition_depth >= 32) return;
    int marker;
    self->transitions[self->transition_depth++] = {__builtin_frame_address(0), __builtin_return_address(0), &marker};
}

void nolt_objects_reenter_managed(void) {
    nolt_process* self = nolt_objects_current_process();
    if (self && self->transition_depth > 0) self->transition_depth--;
}

// ---- stopping the world --------------------------------------------------------------------

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

// ---- fork ----------------------------------------------------------------------------------

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
    g_objects.timeout_thread = nullptr;
    g_objects.timeout_running = false;
    g_objects.firing = nullptr;
    g_objects.process_list = self;
    g_objects.process_count = self ? 1 : 0;
    g_objects.next_pid = self ? self->pid + 1 : 1;
    if (self) {
        self->next = nullptr;
        self->saved_gc_top = self->saved_inflight = self->saved_handoff = nullptr;
        self->gc_suspended = 0;
        self->condition = nolt_platform_condvar_create();
        if (is_protected(self->object) && header_of(self->object)->lock_parts) {
            nolt_platform_mutex_reinit_after_fork(header_of(self->object)->lock_parts->mutex);
            nolt_platform_condvar_reinit_after_fork(header_of(self->object)->lock_parts->condition);
        }
        nolt_heaps_register_thread();
    }
}

}  // extern "C"
