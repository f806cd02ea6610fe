// Object layer: the records of the threads that the runtime knows, which are what the collector
// stops and scans, and their fork handling.
#pragma once
#include <setjmp.h>
#include <stdint.h>

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

void nolt_objects_init(void);
nolt_process* nolt_objects_register_main_process(void* stack_base);
nolt_process* nolt_objects_register_spawn(void);
void nolt_objects_deregister_spawn(void);
nolt_process* nolt_objects_current_process(void);
int32_t nolt_objects_process_count(void);
int32_t nolt_objects_get_process_id(nolt_process* record);

void nolt_objects_suspend_activities(void);
void nolt_objects_resume_activities(void);
void nolt_objects_scan_all_stacks(void);
void nolt_objects_find_roots(nolt_process* record);

void nolt_objects_atfork_prepare(void);
void nolt_objects_atfork_parent(void);
void nolt_objects_atfork_child(void);

void nolt_owner_atfork_prepare(void);
void nolt_owner_atfork_parent(void);
void nolt_owner_atfork_child(void);

}  // extern "C"
