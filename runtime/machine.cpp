#include "runtime/machine.hpp"

#include <cpuid.h>
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sysinfo.h>
#include <time.h>
#include <unistd.h>
#include <x86intrin.h>

#include <atomic>

#include "runtime/heaps.hpp"
#include "runtime/objects.hpp"
#include "runtime/platform.hpp"

extern "C" {
volatile uint32_t nolt_machine_ticks;
const int32_t nolt_machine_ticks_per_second = 1000;
}

static bool runtime_verbose;

// ---- levelled locks --------------------------------------------------------------------------

static __thread int32_t current_lock_level = -1;

// ---- global locks ----------------------------------------------------------------------------

static pthread_mutex_t global_locks[NOLT_GLOBAL_LOCK_COUNT];
static std::atomic<nolt_thread_id> global_lock_owners[NOLT_GLOBAL_LOCK_COUNT];
static std::atomic<bool> global_locks_init;

static bool global_lock_index_valid(int32_t n) {
    return n >= 0 && n < NOLT_GLOBAL_LOCK_COUNT && global_locks_init.load();
}

// ---- time ------------------------------------------------------------------------------------

static std::atomic<uint64_t> timer_frequency;
static std::atomic<bool> timer_running;
static nolt_platform_thread* timer_thread;
static std::atomic<int32_t> timer_thread_tid;

// ---- processors ------------------------------------------------------------------------------

static nolt_cpu_info cpu_info;
static pthread_once_t cpu_info_once = PTHREAD_ONCE_INIT;
static std::atomic<int32_t> num_processors;

// ---- arguments -------------------------------------------------------------------------------

static int32_t args_count;
static char** args_values;

static void fill_cpu_info(void) {
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(0, &eax, &ebx, &ecx, &edx)) {
        memcpy(cpu_info.vendor, &ebx, 4);
        memcpy(cpu_info.vendor + 4, &edx, 4);
        memcpy(cpu_info.vendor + 8, &ecx, 4);
        cpu_info.vendor[12] = '\0';
    }
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
        cpu_info.sse = (edx >> 25) & 1;
        cpu_info.sse2 = (edx >> 26) & 1;
        cpu_info.sse3 = ecx & 1;
        cpu_info.ssse3 = (ecx >> 9) & 1;
        cpu_info.fma = (ecx >> 12) & 1;
        cpu_info.sse4_1 = (ecx >> 19) & 1;
        cpu_info.sse4_2 = (ecx >> 20) & 1;
        cpu_info.avx = (ecx >> 28) & 1;
    }
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) cpu_info.avx2 = (ebx >> 5) & 1;

    char brand[49] = {};
    if ((unsigned)__get_cpuid_max(0x80000000u, nullptr) >= 0x80000004u) {
        for (unsigned int i = 0; i < 3; i++) {
            unsigned int regs[4] = {};
            __get_cpuid(0x80000002u + i, &regs[0], &regs[1], &regs[2], &regs[3]);
            memcpy(brand + 16 * i, regs, 16);
        }
    }
    const char* start = brand;
    while (*start == ' ') start++;  // some processors pad the brand on the left
    size_t length = strlen(start);
    while (length > 0 && start[length - 1] == ' ') length--;
    if (length == 0) {
        start = "Unknown CPU";
        length = strlen(start);
    }
    memcpy(cpu_info.brand, start, length);
    cpu_info.brand[length] = '\0';
}

// Reads the cycle counter across 100 ms. A signal may cut the sleep short, so the rest of the
// 100 ms is slept again.
static uint64_t measure_timer_frequency(void) {
    struct timespec begin, now;
    clock_gettime(CLOCK_MONOTONIC, &begin);
    uint64_t start = __rdtsc();
    usleep(100000);
    for (;;) {
        clock_gettime(CLOCK_MONOTONIC, &now);
        int64_t elapsed_us =
            (now.tv_sec - begin.tv_sec) * 1000000 + (now.tv_nsec - begin.tv_nsec) / 1000;
        if (elapsed_us >= 100000) break;
        usleep((useconds_t)(100000 - elapsed_us));
    }
    return (__rdtsc() - start) * 10;
}

// The tick thread: a millisecond counter derived from the monotonic clock, so that oversleeping
// does not lose ticks. It takes no runtime lock.
static void* timer_thread_func(void*) {
    timer_thread_tid.store((int32_t)gettid());
    struct timespec start;
    bool have_start = clock_gettime(CLOCK_MONOTONIC, &start) == 0;
    uint32_t start_ticks = __atomic_load_n(&nolt_machine_ticks, __ATOMIC_SEQ_CST);
    while (timer_running.load()) {
        struct timespec pause = {0, 1000000};
        nanosleep(&pause, nullptr);
        struct timespec now;
        if (have_start && clock_gettime(CLOCK_MONOTONIC, &now) == 0) {
            int64_t elapsed_ns =
                (int64_t)(now.tv_sec - start.tv_sec) * 1000000000 + (now.tv_nsec - start.tv_nsec);
            __atomic_store_n(&nolt_machine_ticks, start_ticks + (uint32_t)(elapsed_ns / 1000000),
                             __ATOMIC_SEQ_CST);
        } else {
            __atomic_add_fetch(&nolt_machine_ticks, 1, __ATOMIC_SEQ_CST);
        }
    }
    return nullptr;
}

// ---- fork ------------------------------------------------------------------------------------

// The machine's own state in the child: global locks held by threads that did not survive the
// fork are made anew, and the tick thread is gone.
static void machine_atfork_child(void) {
    nolt_thread_id self = nolt_platform_thread_self_id();
    if (global_locks_init.load()) {
        for (int i = 0; i < NOLT_GLOBAL_LOCK_COUNT; i++) {
            if (nolt_platform_thread_id_equal(global_lock_owners[i].load(), self)) continue;
            pthread_mutex_init(&global_locks[i], nullptr);
            global_lock_owners[i].store(0);
        }
    }
    timer_running.store(false);
    timer_thread = nullptr;
    timer_thread_tid.store(0);
}

static void nolt_atfork_prepare(void) {
    nolt_heaps_atfork_prepare();
    nolt_objects_atfork_prepare();
    nolt_owner_atfork_prepare();
}

static void nolt_atfork_parent(void) {
    nolt_owner_atfork_parent();
    nolt_objects_atfork_parent();
    nolt_heaps_atfork_parent();
}

static void nolt_atfork_child(void) {
    machine_atfork_child();
    nolt_heaps_atfork_child();
    nolt_objects_atfork_child();
    nolt_owner_atfork_child();
    nolt_platform_gc_atfork_child();
}

extern "C" {

// ---- start and end ---------------------------------------------------------------------------

void nolt_machine_init(void) {
    static bool fork_handlers_installed;

    setvbuf(stdout, nullptr, _IOLBF, 0);
    setvbuf(stderr, nullptr, _IONBF, 0);
    runtime_verbose = getenv("NOLT_RUNTIME_VERBOSE") != nullptr;

    if (!global_locks_init.load()) {
        for (int i = 0; i < NOLT_GLOBAL_LOCK_COUNT; i++) {
            if (pthread_mutex_init(&global_locks[i], nullptr) != 0) {
                fprintf(stderr, "nolt: fatal: pthread_mutex_init failed for lock %d\n", i);
                abort();
            }
            global_lock_owners[i].store(0);
        }
        global_locks_init.store(true);
    }

    if (!fork_handlers_installed) {
        int rc = pthread_atfork(nolt_atfork_prepare, nolt_atfork_parent, nolt_atfork_child);
        if (rc != 0) {
            errno = rc;
            perror("nolt: fatal: pthread_atfork");
            abort();
        }
        fork_handlers_installed = true;
    }

    pthread_once(&cpu_info_once, fill_cpu_info);
    nolt_machine_init_processors();
    if (timer_frequency.load() == 0) timer_frequency.store(measure_timer_frequency());

    if (!timer_running.load()) {
        timer_running.store(true);
        timer_thread = nolt_platform_thread_create(timer_thread_func, nullptr, 0);
        if (!timer_thread) {
            timer_running.store(false);
            perror("Failed to create timer thread");
        }
    }

    if (runtime_verbose)
        fprintf(stderr, "[Machine] Initialized: %d processors, CPU: %s, Timer freq: %ld Hz\n",
                num_processors.load(), cpu_info.brand, (long)timer_frequency.load());
}

void nolt_machine_cleanup(void) {
    if (timer_thread) {
        timer_running.store(false);
        nolt_platform_thread_join(timer_thread);
        timer_thread = nullptr;
        timer_thread_tid.store(0);
    }
    while (nolt_region* region = nolt_machine_get_memory_blocks()) nolt_machine_release_memory_block(region);
    if (runtime_verbose) fputs("[Machine] Cleaned up\n", stderr);
}

void nolt_machine_exit(int32_t status) {
    fflush(nullptr);
    _exit(status);
}

void nolt_exit_now(int32_t status) {
    fflush(stdout);
    fflush(stderr);
    _exit(status);
}

int32_t nolt_machine_tick_thread_tid(void) { return timer_thread_tid.load(); }

// ---- levelled locks --------------------------------------------------------------------------

nolt_machine_lock* nolt_machine_lock_create(int32_t level) {
    nolt_machine_lock* lock = (nolt_machine_lock*)calloc(1, sizeof(nolt_machine_lock));
    if (!lock) return nullptr;
    nolt_platform_mutex* mutex = nolt_platform_mutex_create();
    nolt_platform_condvar* condition = nolt_platform_condvar_create();
    if (!mutex || !condition) {
        nolt_platform_mutex_destroy(mutex);
        nolt_platform_condvar_destroy(condition);
        free(lock);
        return nullptr;
    }
    lock->mutex = mutex;
    lock->condition = condition;
    lock->level = level;
    return lock;
}

void nolt_machine_lock_destroy(nolt_machine_lock* lock) {
    if (!lock) return;
    nolt_platform_mutex_destroy((nolt_platform_mutex*)lock->mutex);
    nolt_platform_condvar_destroy((nolt_platform_condvar*)lock->condition);
    free(lock);
}

void nolt_machine_lock_acquire(nolt_machine_lock* lock) {
    if (!lock) return;
    if (current_lock_level >= lock->level) {
        fprintf(stderr, "[Machine] Lock order violation: current=%d, acquiring=%d\n",
                current_lock_level, lock->level);
        abort();
    }
    nolt_platform_mutex_lock((nolt_platform_mutex*)lock->mutex);
    lock->owner = nolt_platform_thread_self_id();
    lock->held = 1;
    current_lock_level = lock->level;
}

void nolt_machine_lock_release(nolt_machine_lock* lock) {
    if (!lock) return;
    lock->owner = 0;
    lock->held = 0;
    current_lock_level = -1;
    nolt_platform_mutex_unlock((nolt_platform_mutex*)lock->mutex);
}

// In the child of a fork: the lock may have been held by a thread that is gone, and the forking
// thread's level may still name it.
void nolt_machine_lock_reinit_after_fork(nolt_machine_lock* lock) {
    if (!lock) return;
    nolt_platform_mutex_reinit_after_fork((nolt_platform_mutex*)lock->mutex);
    nolt_platform_condvar_reinit_after_fork((nolt_platform_condvar*)lock->condition);
    lock->owner = 0;
    lock->held = 0;
    current_lock_level = -1;
}

int32_t nolt_machine_current_lock_level(void) { return current_lock_level; }

// ---- global locks ----------------------------------------------------------------------------

void nolt_machine_acquire(int32_t n) {
    if (!global_lock_index_valid(n)) return;
    pthread_mutex_lock(&global_locks[n]);
    global_lock_owners[n].store(nolt_platform_thread_self_id());
}

void nolt_machine_release(int32_t n) {
    if (!global_lock_index_valid(n)) return;
    global_lock_owners[n].store(0);
    pthread_mutex_unlock(&global_locks[n]);
}

bool nolt_machine_locked(int32_t n) {
    if (!global_lock_index_valid(n)) return false;
    nolt_thread_id owner = global_lock_owners[n].load();
    return owner != 0 && nolt_platform_thread_id_equal(owner, nolt_platform_thread_self_id());
}

// ---- atomics ---------------------------------------------------------------------------------

int32_t nolt_machine_atomic_cas(volatile int32_t* address, int32_t old_value, int32_t new_value) {
    int32_t expected = old_value;
    __atomic_compare_exchange_n(address, &expected, new_value, false, __ATOMIC_SEQ_CST,
                                __ATOMIC_SEQ_CST);
    return expected;
}

int32_t nolt_machine_atomic_inc(volatile int32_t* address) {
    return __atomic_add_fetch(address, 1, __ATOMIC_SEQ_CST);
}

int32_t nolt_machine_atomic_dec(volatile int32_t* address) {
    return __atomic_sub_fetch(address, 1, __ATOMIC_SEQ_CST);
}

int32_t nolt_machine_atomic_add(volatile int32_t* address, int32_t delta) {
    return __atomic_add_fetch(address, delta, __ATOMIC_SEQ_CST);
}

int32_t nolt_machine_atomic_exchange(volatile int32_t* address, int32_t value) {
    return __atomic_exchange_n(address, value, __ATOMIC_SEQ_CST);
}

// ---- time ------------------------------------------------------------------------------------

uint64_t nolt_machine_get_timer(void) { return __rdtsc(); }

uint64_t nolt_machine_timer_frequency(void) {
    if (timer_frequency.load() == 0) timer_frequency.store(measure_timer_frequency());
    return timer_frequency.load();
}

uint64_t nolt_machine_timer_to_us(uint64_t cycles) {
    uint64_t frequency = timer_frequency.load();
    if (frequency == 0) return cycles / 3000;
    return (uint64_t)((unsigned __int128)cycles * 1000000 / frequency);
}

uint64_t nolt_machine_timer_to_ms(uint64_t cycles) {
    uint64_t frequency = timer_frequency.load();
    if (frequency == 0) return cycles / 3000000;
    return (uint64_t)((unsigned __int128)cycles * 1000 / frequency);
}

// ---- memory ----------------------------------------------------------------------------------

bool nolt_machine_protect_memory(void* address, size_t size) {
    return mprotect(address, size, PROT_READ) == 0;
}

bool nolt_machine_unprotect_memory(void* address, size_t size) {
    return mprotect(address, size, PROT_READ | PROT_WRITE) == 0;
}

void nolt_machine_fill32(void* address, size_t count, uint32_t value) {
    uint32_t* words = (uint32_t*)address;
    for (size_t i = 0; i < count; i++) words[i] = value;
}

uint64_t nolt_machine_get_total_memory(void) {
    struct sysinfo info;
    if (sysinfo(&info) != 0) return 0;
    return (uint64_t)info.totalram * info.mem_unit;
}

uint64_t nolt_machine_get_available_memory(void) {
    struct sysinfo info;
    if (sysinfo(&info) != 0) return 0;
    return (uint64_t)info.freeram * info.mem_unit;
}

int64_t nolt_machine_get_page_size(void) { return sysconf(_SC_PAGESIZE); }

// ---- processor and system --------------------------------------------------------------------

const nolt_cpu_info* nolt_machine_get_cpu_info(void) {
    pthread_once(&cpu_info_once, fill_cpu_info);
    return &cpu_info;
}

const char* nolt_machine_get_os_name(void) { return "linux"; }

const char* nolt_machine_get_arch(void) { return "x86_64"; }

void nolt_machine_init_processors(void) {
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    num_processors.store(online < 1 ? 1 : (int32_t)online);
}

int32_t nolt_machine_get_num_processors(void) {
    if (num_processors.load() == 0) nolt_machine_init_processors();
    return num_processors.load();
}

void nolt_machine_set_num_processors(int32_t n) {
    if (n >= 1 && n <= nolt_machine_get_num_processors()) num_processors.store(n);
}

void nolt_machine_start_all(void) {}

void nolt_machine_kernel_call_hlt(void) { sched_yield(); }

// ---- trace -----------------------------------------------------------------------------------

void nolt_machine_trace_char(int32_t c) {
    fputc(c, stdout);
    fflush(stdout);
}

void nolt_machine_trace_string(const char* text) {
    fputs(text ? text : "(null)", stdout);
    fflush(stdout);
}

void nolt_machine_trace_int(int64_t value) {
    printf("%lld", (long long)value);
    fflush(stdout);
}

void nolt_machine_trace_hex(uint64_t value) {
    printf("0x%llx", (unsigned long long)value);
    fflush(stdout);
}

void nolt_machine_trace_ln(void) {
    fputc('\n', stdout);
    fflush(stdout);
}

// ---- arguments -------------------------------------------------------------------------------

void nolt_args_init(int32_t argc, char** argv) {
    args_count = argv && argc > 0 ? argc : 0;
    args_values = argv;
}

int32_t nolt_args_count(void) { return args_count; }

const char* nolt_args_program(void) {
    return args_count > 0 && args_values[0] ? args_values[0] : "";
}

const char* nolt_args_raw(int32_t i) {
    if (i < 0 || i >= args_count) return nullptr;
    return args_values[i];
}

}  // extern "C"
