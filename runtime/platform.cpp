#include "runtime/platform.hpp"

#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "runtime/heaps.hpp"

struct nolt_platform_mutex {
    pthread_mutex_t mutex;
};

struct nolt_platform_condvar {
    pthread_cond_t condition;
};

struct nolt_platform_thread {
    pthread_t thread;
    bool allocated;  // false for the per-thread records of nolt_platform_thread_self
};

static pthread_t to_pthread(nolt_thread_id id) { return (pthread_t)id; }

extern "C" {

// ---- mutexes -------------------------------------------------------------------------------

nolt_platform_mutex* nolt_platform_mutex_create(void) {
    nolt_platform_mutex* mutex = (nolt_platform_mutex*)malloc(sizeof(nolt_platform_mutex));
    if (!mutex) return nullptr;
    int rc = pthread_mutex_init(&mutex->mutex, nullptr);
    if (rc != 0) {
        free(mutex);
        errno = rc;
        return nullptr;
    }
    return mutex;
}

void nolt_platform_mutex_destroy(nolt_platform_mutex* mutex) {
    if (!mutex) return;
    pthread_mutex_destroy(&mutex->mutex);
    free(mutex);
}

void nolt_platform_mutex_lock(nolt_platform_mutex* mutex) {
    if (mutex) pthread_mutex_lock(&mutex->mutex);
}

bool nolt_platform_mutex_trylock(nolt_platform_mutex* mutex) {
    return mutex && pthread_mutex_trylock(&mutex->mutex) == 0;
}

void nolt_platform_mutex_unlock(nolt_platform_mutex* mutex) {
    if (mutex) pthread_mutex_unlock(&mutex->mutex);
}

// In a forked child the old state may name a thread that no longer exists: start over in place.
void nolt_platform_mutex_reinit_after_fork(nolt_platform_mutex* mutex) {
    if (mutex) pthread_mutex_init(&mutex->mutex, nullptr);
}

// ---- condition variables -------------------------------------------------------------------

nolt_platform_condvar* nolt_platform_condvar_create(void) {
    nolt_platform_condvar* condition =
        (nolt_platform_condvar*)malloc(sizeof(nolt_platform_condvar));
    if (!condition) return nullptr;
    int rc = pthread_cond_init(&condition->condition, nullptr);
    if (rc != 0) {
        free(condition);
        errno = rc;
        return nullptr;
    }
    return condition;
}

void nolt_platform_condvar_destroy(nolt_platform_condvar* condition) {
    if (!condition) return;
    pthread_cond_destroy(&condition->condition);
    free(condition);
}

void nolt_platform_condvar_wait(nolt_platform_condvar* condition, nolt_platform_mutex* mutex) {
    if (condition && mutex) pthread_cond_wait(&condition->condition, &mutex->mutex);
}

bool nolt_platform_condvar_timedwait(nolt_platform_condvar* condition, nolt_platform_mutex* mutex,
                                     int64_t microseconds) {
    if (!condition || !mutex) return false;
    if (microseconds < 0) microseconds = 0;
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += (time_t)(microseconds / 1000000);
    deadline.tv_nsec += (long)(microseconds % 1000000) * 1000;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return pthread_cond_timedwait(&condition->condition, &mutex->mutex, &deadline) == 0;
}

void nolt_platform_condvar_signal(nolt_platform_condvar* condition) {
    if (condition) pthread_cond_signal(&condition->condition);
}

void nolt_platform_condvar_broadcast(nolt_platform_condvar* condition) {
    if (condition) pthread_cond_broadcast(&condition->condition);
}

void nolt_platform_condvar_reinit_after_fork(nolt_platform_condvar* condition) {
    if (condition) pthread_cond_init(&condition->condition, nullptr);
}

// ---- threads -------------------------------------------------------------------------------

nolt_platform_thread* nolt_platform_thread_create(void* (*function)(void*), void* argument,
                                                  size_t stack_size) {
    if (!function) return nullptr;
    nolt_platform_thread* thread = (nolt_platform_thread*)malloc(sizeof(nolt_platform_thread));
    if (!thread) return nullptr;
    thread->allocated = true;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stack_size > 0) {
        if (stack_size < (size_t)PTHREAD_STACK_MIN) stack_size = PTHREAD_STACK_MIN;
        pthread_attr_setstacksize(&attributes, stack_size);
    }
    int rc = pthread_create(&thread->thread, &attributes, function, argument);
    pthread_attr_destroy(&attributes);
    if (rc != 0) {
        free(thread);
        errno = rc;
        return nullptr;
    }
    return thread;
}

static void release_handle(nolt_platform_thread* thread) {
    if (thread->allocated) free(thread);
}

void* nolt_platform_thread_join(nolt_platform_thread* thread) {
    if (!thread) return nullptr;
    void* result = nullptr;
    pthread_join(thread->thread, &result);
    release_handle(thread);
    return result;
}

void nolt_platform_thread_detach(nolt_platform_thread* thread) {
    if (!thread) return;
    pthread_detach(thread->thread);
    release_handle(thread);
}

static __thread nolt_platform_thread self_record;

nolt_platform_thread* nolt_platform_thread_self(void) {
    self_record.thread = pthread_self();
    self_record.allocated = false;
    return &self_record;
}

nolt_thread_id nolt_platform_thread_self_id(void) { return (nolt_thread_id)pthread_self(); }

nolt_thread_id nolt_platform_thread_get_id(nolt_platform_thread* thread) {
    return thread ? (nolt_thread_id)thread->thread : 0;
}

uint64_t nolt_platform_thread_get_pthread(nolt_platform_thread* thread) {
    return thread ? (uint64_t)thread->thread : 0;
}

bool nolt_platform_thread_id_equal(nolt_thread_id a, nolt_thread_id b) {
    return pthread_equal(to_pthread(a), to_pthread(b)) != 0;
}

void nolt_platform_thread_yield(void) { sched_yield(); }

int32_t nolt_platform_thread_cancel(nolt_thread_id id) { return pthread_cancel(to_pthread(id)); }

void nolt_platform_thread_exit(void* value) { pthread_exit(value); }

// The priority value itself is not used: a real-time thread runs at the top of SCHED_FIFO,
// any other at the default policy's only priority.
int32_t nolt_platform_thread_set_priority(nolt_thread_id id, int32_t priority, bool realtime) {
    (void)priority;
    struct sched_param parameter = {};
    int policy = SCHED_OTHER;
    if (realtime) {
        policy = SCHED_FIFO;
        parameter.sched_priority = sched_get_priority_max(SCHED_FIFO);
    }
    return pthread_setschedparam(to_pthread(id), policy, &parameter);
}

// ---- sleeping ------------------------------------------------------------------------------

void nolt_platform_sleep_us(int64_t microseconds) {
    if (microseconds <= 0) return;
    struct timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += (time_t)(microseconds / 1000000);
    deadline.tv_nsec += (long)(microseconds % 1000000) * 1000;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

// ---- thread-local slot ---------------------------------------------------------------------

static pthread_key_t tls_key;
static bool tls_ready;

void nolt_platform_tls_init(void) {
    if (tls_ready) return;
    if (pthread_key_create(&tls_key, nullptr) != 0) {
        fputs("nolt: fatal: pthread_key_create failed\n", stderr);
        abort();
    }
    tls_ready = true;
}

void nolt_platform_tls_cleanup(void) {
    if (!tls_ready) return;
    pthread_key_delete(tls_key);
    tls_ready = false;
}

void nolt_platform_tls_set(void* value) {
    if (tls_ready) pthread_setspecific(tls_key, value);
}

void* nolt_platform_tls_get(void) { return tls_ready ? pthread_getspecific(tls_key) : nullptr; }

// ---- stop-the-world ------------------------------------------------------------------------
//
// The collector fills the target fields, then signals the target. The target's handler checks
// that the signal is meant for it, publishes its roots, posts the semaphore and parks in
// sigsuspend until the world resumes. Everything the handler touches is lock-free or
// async-signal-safe.

static std::atomic<bool> gc_suspend_initialized;
static sem_t gc_suspend_ack_sem;
static sigset_t gc_park_mask;
static std::atomic<bool> gc_world_stopped;
static std::atomic<nolt_thread_id> gc_target_tid;
static std::atomic<void**> gc_target_chain_dst;
static std::atomic<void**> gc_target_inflight_dst;
static std::atomic<void**> gc_target_handoff_dst;
static std::atomic<bool> gc_target_valid;
static __thread volatile sig_atomic_t gc_parked_here;

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<void**>::is_always_lock_free &&
                  std::atomic<nolt_thread_id>::is_always_lock_free,
              "the suspend handler needs lock-free atomics");

static bool targets_this_thread(void) {
    return gc_target_valid.load() &&
           pthread_equal(to_pthread(gc_target_tid.load()), pthread_self());
}

static void publish_roots(void) {
    void** chain_dst = gc_target_chain_dst.load();
    void** inflight_dst = gc_target_inflight_dst.load();
    void** handoff_dst = gc_target_handoff_dst.load();
    gc_target_valid.store(false);
    if (chain_dst) *chain_dst = (void*)__nolt_gc_top;
    if (inflight_dst) *inflight_dst = __nolt_gc_inflight;
    if (handoff_dst) *handoff_dst = (void*)__nolt_gc_handoff;
    sem_post(&gc_suspend_ack_sem);
}

__thread volatile sig_atomic_t nolt_platform_stop_held_off, nolt_platform_stop_pending;

static void park_if_targeted(void) {
    if (!gc_parked_here && gc_world_stopped.load() && targets_this_thread()) {
        gc_parked_here = 1;
        publish_roots();
        while (gc_world_stopped.load()) {
            sigsuspend(&gc_park_mask);
            if (gc_world_stopped.load() && targets_this_thread()) publish_roots();
        }
        gc_parked_here = 0;
    }
}

static void nolt_gc_suspend_handler(int) {
    int saved_errno = errno;
    if (nolt_platform_stop_held_off) nolt_platform_stop_pending = 1;
    else park_if_targeted();
    errno = saved_errno;
}

// Outside the handler the stop signal stays blocked except inside sigsuspend, so that a second
// delivery cannot run the same steps in between and acknowledge the stop twice.
void nolt_platform_gc_park_pending(void) {
    int saved_errno = errno;
    sigset_t urgent, previous;
    sigemptyset(&urgent);
    sigaddset(&urgent, SIGURG);
    pthread_sigmask(SIG_BLOCK, &urgent, &previous);
    nolt_platform_stop_pending = 0;
    park_if_targeted();
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = saved_errno;
}

void nolt_platform_gc_suspend_init(void) {
    if (gc_suspend_initialized.load()) return;
    if (sem_init(&gc_suspend_ack_sem, 0, 0) != 0) {
        perror("nolt: sem_init(gc ack)");
        abort();
    }
    sigfillset(&gc_park_mask);
    for (int signal_number : {SIGURG, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        sigdelset(&gc_park_mask, signal_number);
    struct sigaction action = {};
    action.sa_handler = nolt_gc_suspend_handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a stopped thread's blocking calls see EINTR
    if (sigaction(SIGURG, &action, nullptr) != 0) {
        perror("nolt: sigaction(SIGURG)");
        abort();
    }
    gc_suspend_initialized.store(true);
}

void nolt_platform_gc_stop_begin(void) {
    gc_world_stopped.store(true);
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

bool nolt_platform_gc_suspend_thread(nolt_thread_id id, void** chain_dst, void** inflight_dst,
                                     void** handoff_dst) {
    if (!gc_suspend_initialized.load()) return false;
    // The caller would park in its own handler and never post.
    if (pthread_equal(to_pthread(id), pthread_self())) return false;
    gc_target_tid.store(id);
    gc_target_chain_dst.store(chain_dst);
    gc_target_inflight_dst.store(inflight_dst);
    gc_target_handoff_dst.store(handoff_dst);
    gc_target_valid.store(true);
    if (pthread_kill(to_pthread(id), SIGURG) != 0) {
        gc_target_valid.store(false);
        return false;
    }
    while (sem_wait(&gc_suspend_ack_sem) != 0) {
        if (errno != EINTR) {
            gc_target_valid.store(false);
            return false;
        }
    }
    return true;
}

void nolt_platform_gc_resume_begin(void) {
    gc_world_stopped.store(false);
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

void nolt_platform_gc_resume_thread(nolt_thread_id id) { pthread_kill(to_pthread(id), SIGURG); }

bool nolt_platform_gc_world_stopped(void) { return gc_world_stopped.load(); }

bool nolt_platform_gc_parked_here(void) { return gc_parked_here != 0; }

void nolt_platform_gc_atfork_child(void) {
    gc_world_stopped.store(false);
    gc_target_valid.store(false);
    if (sem_init(&gc_suspend_ack_sem, 0, 0) != 0) perror("nolt: warning: sem_init after fork");
}

// ---- fatal messages while the world is stopped -----------------------------------------------

void nolt_platform_write_stderr(const char* text, size_t length) {
    while (length > 0) {
        ssize_t written = write(2, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= (size_t)written;
    }
}

static std::atomic<void (*)(void)> fatal_hook{nullptr};

void nolt_platform_set_fatal_hook(void (*hook)(void)) { fatal_hook.store(hook); }

void nolt_platform_before_fatal(void) {
    if (void (*hook)(void) = fatal_hook.exchange(nullptr)) hook();
}

void nolt_platform_fatal_write(const char* format, ...) {
    nolt_platform_before_fatal();
    char buffer[256];
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    if (length > 0) nolt_platform_write_stderr(buffer, length > 255 ? 255 : (size_t)length);
}

}  // extern "C"
