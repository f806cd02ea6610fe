// Platform layer: threads, mutexes, condition variables, the thread-local slot, sleeping, and the
// signal-driven mechanism by which the collector stops and resumes other threads.
// Handles are opaque; a null handle makes every call a no-op.
#pragma once
#include <signal.h>
#include <stddef.h>
#include <stdint.h>

extern "C" {

typedef struct nolt_platform_mutex nolt_platform_mutex;
typedef struct nolt_platform_condvar nolt_platform_condvar;
typedef struct nolt_platform_thread nolt_platform_thread;
typedef uint64_t nolt_thread_id;  // the pthread_t of a thread

nolt_platform_mutex* nolt_platform_mutex_create(void);
void nolt_platform_mutex_destroy(nolt_platform_mutex* mutex);
void nolt_platform_mutex_lock(nolt_platform_mutex* mutex);
bool nolt_platform_mutex_trylock(nolt_platform_mutex* mutex);
void nolt_platform_mutex_unlock(nolt_platform_mutex* mutex);
void nolt_platform_mutex_reinit_after_fork(nolt_platform_mutex* mutex);

nolt_platform_condvar* nolt_platform_condvar_create(void);
void nolt_platform_condvar_destroy(nolt_platform_condvar* condition);
void nolt_platform_condvar_wait(nolt_platform_condvar* condition, nolt_platform_mutex* mutex);
bool nolt_platform_condvar_timedwait(nolt_platform_condvar* condition, nolt_platform_mutex* mutex,
                                     int64_t microseconds);
void nolt_platform_condvar_signal(nolt_platform_condvar* condition);
void nolt_platform_condvar_broadcast(nolt_platform_condvar* condition);
void nolt_platform_condvar_reinit_after_fork(nolt_platform_condvar* condition);

nolt_platform_thread* nolt_platform_thread_create(void* (*function)(void*), void* argument,
                                                  size_t stack_size);
void* nolt_platform_thread_join(nolt_platform_thread* thread);
void nolt_platform_thread_detach(nolt_platform_thread* thread);
nolt_platform_thread* nolt_platform_thread_self(void);
nolt_thread_id nolt_platform_thread_self_id(void);
nolt_thread_id nolt_platform_thread_get_id(nolt_platform_thread* thread);
uint64_t nolt_platform_thread_get_pthread(nolt_platform_thread* thread);
bool nolt_platform_thread_id_equal(nolt_thread_id a, nolt_thread_id b);
void nolt_platform_thread_yield(void);
int32_t nolt_platform_thread_cancel(nolt_thread_id id);
[[noreturn]] void nolt_platform_thread_exit(void* value);
int32_t nolt_platform_thread_set_priority(nolt_thread_id id, int32_t priority, bool realtime);

void nolt_platform_sleep_us(int64_t microseconds);

void nolt_platform_tls_init(void);
void nolt_platform_tls_cleanup(void);
void nolt_platform_tls_set(void* value);
void* nolt_platform_tls_get(void);

// Stop-the-world. The collector stops one thread at a time: the target's SIGURG handler
// publishes the thread's root chain, in-flight reference and handoff address at the given
// destinations, posts the acknowledgement semaphore and parks until the world resumes.
void nolt_platform_gc_suspend_init(void);  // prints through perror and aborts on failure
void nolt_platform_gc_stop_begin(void);
bool nolt_platform_gc_suspend_thread(nolt_thread_id id, void** chain_dst, void** inflight_dst,
                                     void** handoff_dst);
void nolt_platform_gc_resume_begin(void);
void nolt_platform_gc_resume_thread(nolt_thread_id id);
bool nolt_platform_gc_world_stopped(void);
bool nolt_platform_gc_parked_here(void);
void nolt_platform_gc_atfork_child(void);

// A section that a stop must not cut in two (the allocator's lock-free path): a stop signal that
// arrives inside it is held over, and the thread parks when the section ends.
extern __thread volatile sig_atomic_t nolt_platform_stop_held_off, nolt_platform_stop_pending;
void nolt_platform_gc_park_pending(void);

static inline void nolt_platform_no_stop_begin(void) {
    nolt_platform_stop_held_off = 1;
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

static inline void nolt_platform_no_stop_end(void) {
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    nolt_platform_stop_held_off = 0;
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    if (nolt_platform_stop_pending) nolt_platform_gc_park_pending();
}

// Writes all of `text` to descriptor 2 with write(2) alone, retrying on EINTR.
void nolt_platform_write_stderr(const char* text, size_t length);
// Formats into a 256-byte stack buffer and writes at most 255 bytes of it to descriptor 2 with
// write(2), bypassing stdio: safe while the world is stopped and a parked thread may hold a
// stream lock. The caller supplies any line end.
void nolt_platform_fatal_write(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The program's last words before a fatal message: a hook (the terminal's restore, say) that runs
// once, before the first panic, run-time error or FATAL line is printed, so that the line lands
// where the user reads it. It must be async-signal-safe. Null removes it.
void nolt_platform_set_fatal_hook(void (*hook)(void));
// Runs the hook if one is set and it has not run yet; the first caller wins.
void nolt_platform_before_fatal(void);

}  // extern "C"
