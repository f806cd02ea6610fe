// Object layer: the records of the threads that the runtime knows, which are what the collector
// stops and scans, and their fork handling; processes started here, protected objects with shared
// and exclusive locks and condition waits, wait queues, timeouts, lock diagnostics and the owner
// harness.
#pragma once
#include <setjmp.h>
#include <stdint.h>

#include <atomic>

#include "runtime/heaps.hpp"
#include "runtime/platform.hpp"

extern "C" {

enum nolt_process_mode {
    NOLT_MODE_READY = 0,
    NOLT_MODE_RUNNING = 1,
    NOLT_MODE_AWAITING_LOCK = 2,
    NOLT_MODE_AWAITING_COND = 3,
    NOLT_MODE_AWAITING_EVENT = 4,
    NOLT_MODE_TERMINATED = 5,
};

typedef struct nolt_transition {
    void* frame_pointer;
    void* return_address;
    void* stack_address;
} nolt_transition;

// One record per registered thread, from the system allocator. Fields stay in this order.
typedef struct nolt_process {
    nolt_platform_thread* thread;  // null for the main thread
    nolt_thread_id thread_id;
    struct nolt_process* next;
    void* stack_base;
    int32_t pid;
    void (*body)(void* object);
    int32_t mode;
    uint8_t catches_exit;
    int32_t priority;
    struct nolt_process* queue_next;
    void* object;
    bool (*await_condition)(void* argument);
    void* await_argument;
    nolt_platform_condvar* condition;
    void* awaited_object;
    jmp_buf jump_buffer;
    struct nolt_process* self;
    int32_t transition_depth;
    nolt_transition transitions[32];
    void* saved_gc_top;
    void* saved_inflight;
    void* saved_handoff;
    uint8_t gc_suspended;
    uint8_t is_spawn;
} nolt_process;

// The header at the start of a protected object (nolt_heaps_new_protected_object). Fields stay in
// this order. Its lock is made at the first nolt_objects_lock; nolt_objects_cleanup_protected
// destroys it.
typedef struct nolt_lock_parts {
    nolt_platform_mutex* mutex;
    nolt_platform_condvar* condition;
} nolt_lock_parts;

typedef struct nolt_protected {
    nolt_lock_parts* lock_parts;
    nolt_process* exclusive_owner;
    int32_t exclusive_depth;  // re-entries of the exclusive owner
    int32_t shared_count;
    uint8_t exclusive_pending;  // a writer waits: new readers wait behind it
    nolt_process* await_head;   // processes in nolt_objects_await, linked through queue_next
    nolt_process* await_tail;
} nolt_protected;

// A first-in, first-out queue of process records, linked through queue_next. It has no lock of
// its own.
typedef struct nolt_queue {
    nolt_process* head;
    nolt_process* tail;
} nolt_queue;

// A timeout. The callback runs on the timeout thread with no runtime lock held, gets the timer,
// may set it again, and must not touch managed memory.
typedef struct nolt_timer {
    struct nolt_timer* next;
    int32_t deadline;  // milliseconds of the monotonic clock, modulo 2^32
    void (*callback)(struct nolt_timer* timer);
} nolt_timer;

typedef bool (*nolt_await_fn)(void* argument);

// Brings the layer up and starts the timeout thread; a second call does nothing.
void nolt_objects_init(void);
// Unregisters the caller, stops the timeout thread, cancels every other process, destroys the
// layer's mutexes, conditions and thread-local key.
void nolt_objects_cleanup(void);
nolt_process* nolt_objects_register_main_process(void* stack_base);
nolt_process* nolt_objects_register_spawn(void);
void nolt_objects_deregister_spawn(void);

// Starts `body(object)` on a thread with a 2 MiB stack and returns its record once the thread is
// on the process list; null on failure. `object` is a root while the process is listed. The
// record lives until nolt_objects_join_process or nolt_objects_cancel_process.
nolt_process* nolt_objects_create_process(void (*body)(void* object), int32_t priority, bool catches_exit,
                                          void* object);
[[noreturn]] void nolt_objects_exit_process(void);
void nolt_objects_cancel_process(nolt_process* record);
void nolt_objects_join_process(nolt_process* record);
nolt_process* nolt_objects_current_process(void);
int32_t nolt_objects_process_count(void);
int32_t nolt_objects_get_process_id(nolt_process* record);  // -1 for null
int32_t nolt_objects_get_priority(nolt_process* record);    // 1 for null
// Priority 4 runs the thread real-time. The platform's result: 0, or an error number.
int32_t nolt_objects_set_priority(nolt_process* record, int32_t priority);
int32_t nolt_objects_get_waiting_count(void);
int32_t nolt_objects_exclusive_holder_count(void);
void nolt_objects_yield(void);
void nolt_objects_yield_or_gc(void);
void nolt_objects_sleep(int32_t milliseconds);
bool nolt_objects_gc_concurrent(void);

// Locks of protected objects; the caller must be a process. An exclusive holder may lock again,
// either way, and unlocks as often as it locked. A shared holder must not ask for the exclusive
// lock: it would wait for itself.
void nolt_objects_lock(void* object, bool exclusive);
void nolt_objects_unlock(void* object);
// Gives up an exclusive hold until `condition(argument)` is true, then has it back at the same
// depth. Returns at once if the condition holds already, or if the caller is not the exclusive
// owner. Conditions run under the object's mutex and must not block.
void nolt_objects_await(nolt_await_fn condition, void* argument, void* object);
// Zeroes `header`; for null, allocates a zeroed one from the system allocator.
nolt_protected* nolt_objects_init_protected(nolt_protected* header);
void nolt_objects_cleanup_protected(nolt_protected* header);

void nolt_objects_queue_init(nolt_queue* queue);
void nolt_objects_queue_put(nolt_queue* queue, nolt_process* record);
nolt_process* nolt_objects_queue_get(nolt_queue* queue);  // null when empty
bool nolt_objects_queue_empty(const nolt_queue* queue);

nolt_timer* nolt_objects_create_timer(void);  // zeroed, from the system allocator; null on failure
// (Re)arms `timer` to call `callback` after `delay` milliseconds. Timers fire in deadline order.
void nolt_objects_set_timeout(nolt_timer* timer, void (*callback)(nolt_timer* timer), int32_t delay);
void nolt_objects_cancel_timeout(nolt_timer* timer);
// Cancels and frees; waits for a callback of this timer that is running on the timeout thread.
void nolt_objects_free_timer(nolt_timer* timer);

void nolt_objects_leave_managed(void);
void nolt_objects_reenter_managed(void);

int32_t nolt_objects_check_locks_simple(void);
int32_t nolt_objects_validate_locks(void);  // the number of inconsistencies, printed on stderr
void nolt_objects_dump_process_list(void);

void nolt_objects_suspend_activities(void);
void nolt_objects_resume_activities(void);
void nolt_objects_scan_all_stacks(void);
void nolt_objects_find_roots(nolt_process* record);

void nolt_objects_atfork_prepare(void);
void nolt_objects_atfork_parent(void);
void nolt_objects_atfork_child(void);

// Owner harness: a debugging aid that records which active object or thread made each object and
// aborts on an access from elsewhere. Until nolt_owner_harness_enable every call returns at once;
// hot paths test nolt_owner_harness_on themselves and skip the call.
extern std::atomic<bool> nolt_owner_harness_on;
void nolt_owner_harness_enable(void);
void nolt_owner_enter_ao(void* object, bool exclusive);
void nolt_owner_leave_ao(void* object);
void nolt_owner_stamp(void* object);
void nolt_owner_purge(void* object);
void nolt_owner_probe_read(void* object);
void nolt_owner_probe_write(void* object);
void nolt_owner_finalizer_enter(void);
void nolt_owner_finalizer_leave(void);

void nolt_owner_atfork_prepare(void);
void nolt_owner_atfork_parent(void);
void nolt_owner_atfork_child(void);

}  // extern "C"
