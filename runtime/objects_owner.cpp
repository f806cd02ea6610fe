// The owner harness: a debugging aid that stamps each new block with the thread or active object
// that made it and stops the process when another one reads or writes it.
#include <stdio.h>
#include <stdlib.h>

#include <atomic>

#include "runtime/objects.hpp"
#include "runtime/platform.hpp"

extern "C" {

std::atomic<bool> nolt_owner_harness_on;

namespace {

struct OwnerStamp {
    const void* object;
    const void* context;  // the active object that made it, null for a plain thread
    nolt_thread_id thread;
    OwnerStamp* next;
};

struct AoContext {
    const void* object;
    bool exclusive;
};

constexpr int kOwnerBuckets = 64;
constexpr int kAoDepth = 32;

nolt_platform_mutex* owner_mutex;
OwnerStamp* owner_buckets[kOwnerBuckets];
__thread AoContext ao_stack[kAoDepth];
__thread int32_t ao_depth;
__thread int32_t finalizer_depth;

[[noreturn]] void owner_fatal(const char* text) {
    fprintf(stderr, "OWNER-HARNESS: %s\n", text);
    abort();
}

OwnerStamp** bucket_of(const void* object) { return &owner_buckets[((uintptr_t)object >> 4) & (kOwnerBuckets - 1)]; }

// Removes the stamp of `object`, under the harness mutex.
void drop_stamp(const void* object) {
    for (OwnerStamp** link = bucket_of(object); *link; link = &(*link)->next) {
        if ((*link)->object != object) continue;
        OwnerStamp* stamp = *link;
        *link = stamp->next;
        free(stamp);
        return;
    }
}

void probe(void* object, bool write) {
    if (!nolt_owner_harness_on.load(std::memory_order_relaxed) || !object) return;
    const char* access = write ? "write" : "read";
    const char* violation = nullptr;
    if (finalizer_depth > 0) {
        violation = "from a finalizer";
    } else {
        nolt_platform_mutex_lock(owner_mutex);
        OwnerStamp* stamp = *bucket_of(object);
        while (stamp && stamp->object != object) stamp = stamp->next;
        const AoContext* context = ao_depth > 0 ? &ao_stack[ao_depth - 1] : nullptr;
        if (!stamp) violation = "object has no owner stamp";
        else if (!stamp->context && !nolt_platform_thread_id_equal(stamp->thread, nolt_platform_thread_self_id()))
            violation = "object owned by a different thread";
        else if (stamp->context && !context)
            violation = "object owned by an Active Object, current context is a thread";
        else if (stamp->context && context->object != stamp->context)
            violation = "object owned by a different Active Object";
        else if (stamp->context && write && !context->exclusive)
            violation = "write needs an exclusive Active Object context";
        nolt_platform_mutex_unlock(owner_mutex);
    }
    if (!violation) return;
    fprintf(stderr, "OWNER-HARNESS: %s: %s\n", access, violation);
    abort();
}

}  // namespace

void nolt_owner_harness_enable(void) {
    if (nolt_owner_harness_on.load()) return;
    owner_mutex = nolt_platform_mutex_create();
    if (!owner_mutex) {
        fprintf(stderr, "nolt: fatal: mutex creation failed\n");
        abort();
    }
    nolt_owner_harness_on.store(true);
}

void nolt_owner_enter_ao(void* object, bool exclusive) {
    if (!nolt_owner_harness_on.load(std::memory_order_relaxed)) return;
    if (ao_depth >= kAoDepth) owner_fatal("AO context stack overflow");
    ao_stack[ao_depth++] = {object, exclusive};
}

void nolt_owner_leave_ao(void* object) {
    if (!nolt_owner_harness_on.load(std::memory_order_relaxed)) return;
    if (ao_depth == 0 || ao_stack[ao_depth - 1].object != object) owner_fatal("AO context stack mismatch on leave");
    ao_depth--;
}

void nolt_owner_stamp(void* object) {
    if (!nolt_owner_harness_on.load(std::memory_order_relaxed) || !object) return;
    auto* stamp = (OwnerStamp*)malloc(sizeof(OwnerStamp));
    if (!stamp) owner_fatal("out of memory stamping object");
    *stamp = {object, ao_depth > 0 ? ao_stack[ao_depth - 1].object : nullptr, nolt_platform_thread_self_id(), nullptr};
    nolt_platform_mutex_lock(owner_mutex);
    drop_stamp(object);  // a block used again
    stamp->next = *bucket_of(object);
    *bucket_of(object) = stamp;
    nolt_platform_mutex_unlock(owner_mutex);
}

void nolt_owner_purge(void* object) {
    if (!nolt_owner_harness_on.load(std::memory_order_relaxed) || !object) return;
    nolt_platform_mutex_lock(owner_mutex);
    drop_stamp(object);
    nolt_platform_mutex_unlock(owner_mutex);
}

void nolt_owner_probe_read(void* object) { probe(object, false); }
void nolt_owner_probe_write(void* object) { probe(object, true); }
void nolt_owner_finalizer_enter(void) { finalizer_depth++; }
void nolt_owner_finalizer_leave(void) {
    if (finalizer_depth > 0) finalizer_depth--;
}

void nolt_owner_atfork_prepare(void) {
    if (nolt_owner_harness_on.load()) nolt_platform_mutex_lock(owner_mutex);
}

void nolt_owner_atfork_parent(void) {
    if (nolt_owner_harness_on.load()) nolt_platform_mutex_unlock(owner_mutex);
}

void nolt_owner_atfork_child(void) {
    if (!nolt_owner_harness_on.load()) return;
    owner_mutex = nolt_platform_mutex_create();
    for (OwnerStamp*& bucket : owner_buckets)
        while (OwnerStamp* stamp = bucket) {
            bucket = stamp->next;
            free(stamp);
        }
    ao_depth = 0;
}

}  // extern "C"
