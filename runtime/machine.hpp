// Machine layer: process start and exit, levelled and global locks, atomics, the time source,
// processor information and the process's arguments.
#pragma once
#include <stddef.h>
#include <stdint.h>

extern "C" {

// A lock with a level: a thread may only take a lock of a higher level than the one it holds.
// Fields stay in this order.
typedef struct nolt_machine_lock {
    void* mutex;        // nolt_platform_mutex*
    void* condition;    // nolt_platform_condvar*
    int32_t level;
    uint64_t owner;     // thread id of the holder, 0 when free
    uint8_t held;
} nolt_machine_lock;

typedef struct nolt_cpu_info {
    bool sse, sse2, sse3, ssse3, sse4_1, sse4_2, avx, avx2, fma;
    char vendor[13];
    char brand[49];
} nolt_cpu_info;

enum { NOLT_GLOBAL_LOCK_COUNT = 6 };

void nolt_machine_init(void);
void nolt_machine_cleanup(void);
[[noreturn]] void nolt_machine_exit(int32_t status);
[[noreturn]] void nolt_exit_now(int32_t status);

nolt_machine_lock* nolt_machine_lock_create(int32_t level);
void nolt_machine_lock_destroy(nolt_machine_lock* lock);
void nolt_machine_lock_acquire(nolt_machine_lock* lock);
void nolt_machine_lock_release(nolt_machine_lock* lock);
void nolt_machine_lock_reinit_after_fork(nolt_machine_lock* lock);
int32_t nolt_machine_current_lock_level(void);

void nolt_machine_acquire(int32_t n);
void nolt_machine_release(int32_t n);
bool nolt_machine_locked(int32_t n);

int32_t nolt_machine_atomic_cas(volatile int32_t* address, int32_t old_value, int32_t new_value);
int32_t nolt_machine_atomic_inc(volatile int32_t* address);
int32_t nolt_machine_atomic_dec(volatile int32_t* address);
int32_t nolt_machine_atomic_add(volatile int32_t* address, int32_t delta);
int32_t nolt_machine_atomic_exchange(volatile int32_t* address, int32_t value);

// Milliseconds since the tick thread began, advanced by that thread alone.
extern volatile uint32_t nolt_machine_ticks;
extern const int32_t nolt_machine_ticks_per_second;
// The kernel thread id of the tick thread, 0 while it isn't running (for measurements).
int32_t nolt_machine_tick_thread_tid(void);

uint64_t nolt_machine_get_timer(void);
uint64_t nolt_machine_timer_frequency(void);
uint64_t nolt_machine_timer_to_us(uint64_t cycles);
uint64_t nolt_machine_timer_to_ms(uint64_t cycles);

bool nolt_machine_protect_memory(void* address, size_t size);
bool nolt_machine_unprotect_memory(void* address, size_t size);
void nolt_machine_fill32(void* address, size_t count, uint32_t value);

const nolt_cpu_info* nolt_machine_get_cpu_info(void);
uint64_t nolt_machine_get_total_memory(void);
uint64_t nolt_machine_get_available_memory(void);
int64_t nolt_machine_get_page_size(void);
const char* nolt_machine_get_os_name(void);
const char* nolt_machine_get_arch(void);
int32_t nolt_machine_get_num_processors(void);
void nolt_machine_init_processors(void);
void nolt_machine_set_num_processors(int32_t n);
void nolt_machine_start_all(void);
void nolt_machine_kernel_call_hlt(void);

void nolt_machine_trace_char(int32_t c);
void nolt_machine_trace_string(const char* text);
void nolt_machine_trace_int(int64_t value);
void nolt_machine_trace_hex(uint64_t value);
void nolt_machine_trace_ln(void);

void nolt_args_init(int32_t argc, char** argv);
int32_t nolt_args_count(void);
const char* nolt_args_program(void);
// The raw argument i, or null out of range; the managed copy nolt_args_get lives with the texts.
const char* nolt_args_raw(int32_t i);

}  // extern "C"
