// Signal layer: a table of signal flags that ordinary code reads at its leisure, the self-pipe,
// a per-thread poll set and thin descriptor calls.
//
// A handler does next to nothing: it sets a flag, or writes one byte to a pipe. SIGURG belongs to
// the collector's stop-the-world: installing, ignoring, defaulting, blocking or waiting for it is
// refused with EINVAL.
// Functions that fail return -1 with errno set, unless noted otherwise.
#pragma once
#include <stdint.h>

extern "C" {

typedef void (*nolt_signal_fn)(int32_t signal);

enum { NOLT_SIGNAL_COUNT = 32, NOLT_POLL_CAPACITY = 64 };

// Indexed by signal number. A stored function runs in signal context after the flag is set: it
// must keep to async-signal-safe calls and must not allocate.
extern nolt_signal_fn nolt_signal_handlers[NOLT_SIGNAL_COUNT];
// Set to 1 by the handler, cleared by nolt_signal_check.
extern volatile uint32_t nolt_signal_flags[NOLT_SIGNAL_COUNT];
// Where nolt_selfpipe_handler writes; -1 until nolt_signal_selfpipe_register.
extern volatile int32_t nolt_selfpipe_write_fd;

void nolt_signal_init(void);  // clears the table and the flags; installs nothing
int32_t nolt_signal_set_handler(int32_t signal, nolt_signal_fn function);  // 0 or -1
int32_t nolt_signal_ignore(int32_t signal);
int32_t nolt_signal_default(int32_t signal);
int32_t nolt_signal_check(int32_t signal);  // 1 once per batch of arrivals, else 0
int32_t nolt_signal_block(int32_t signal);
int32_t nolt_signal_unblock(int32_t signal);
// sigwait: the number of the signal taken, or -1. sigwait does not return on EINTR, so a wait on
// an empty set (nolt_signal_wait, or a count of 0) only ends when the process does.
int32_t nolt_signal_wait(void);
int32_t nolt_signal_wait_set(const int32_t* signals, int32_t count);
const char* nolt_signal_name(int32_t signal);

void nolt_internal_signal_handler(int32_t signal);
void nolt_selfpipe_handler(int32_t signal);

int32_t nolt_signal_selfpipe_create(int32_t fds[2]);  // fds[0] reads, fds[1] writes
int32_t nolt_signal_selfpipe_register(int32_t signal, int32_t write_fd);
int32_t nolt_signal_selfpipe_read(int32_t read_fd);  // the byte 0..255, or -1

// The fault signals (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP) get a handler that
// runs on an alternate stack of the calling thread, so that a stack overflow is caught too: it runs
// the platform's fatal hook, then lets the signal take its default action, so that the exit status
// and any core dump stay what they were. 0 or -1.
int32_t nolt_signal_fatal_init(void);
// Gives `signal` its default action and raises it on the calling thread, unblocked: a signal whose
// default ends the process ends it here, also from inside a handler. SIGURG is refused.
int32_t nolt_signal_raise_default(int32_t signal);

int32_t nolt_SIGRTMIN(void);
int32_t nolt_SIGRTMIN_offset(int32_t n);

int32_t nolt_SIGHUP(void);
int32_t nolt_SIGINT(void);
int32_t nolt_SIGQUIT(void);
int32_t nolt_SIGKILL(void);
int32_t nolt_SIGUSR1(void);
int32_t nolt_SIGUSR2(void);
int32_t nolt_SIGPIPE(void);
int32_t nolt_SIGALRM(void);
int32_t nolt_SIGTERM(void);
int32_t nolt_SIGCHLD(void);
int32_t nolt_SIGCONT(void);
int32_t nolt_SIGSTOP(void);

// The poll set belongs to the calling thread. Slots count from 0 in the order of nolt_poll_add.
void nolt_poll_clear(void);
int32_t nolt_poll_count(void);
int32_t nolt_poll_add(int32_t fd, int32_t events);  // the slot, or -1 when full
int32_t nolt_poll_wait(int32_t timeout_ms);  // number ready; 0 on timeout or signal; -1 on error
int32_t nolt_poll_revents(int32_t slot);
int32_t nolt_poll_has_event(int32_t slot, int32_t mask);

int32_t nolt_POLLIN(void);
int32_t nolt_POLLOUT(void);
int32_t nolt_POLLERR(void);
int32_t nolt_POLLHUP(void);

// open, read and write retry on EINTR; a read or write may still be partial.
int32_t nolt_fd_open(const char* path, int32_t flags, int32_t mode);
int64_t nolt_fd_read(int32_t fd, void* buffer, int64_t length);
int64_t nolt_fd_write(int32_t fd, const void* buffer, int64_t length);
int32_t nolt_fd_close(int32_t fd);
int32_t nolt_fd_dup(int32_t fd);
int32_t nolt_fd_dup2(int32_t old_fd, int32_t new_fd);
int32_t nolt_fd_pipe(void);  // 0 or -1; the ends are kept per thread
int32_t nolt_fd_pipe_read(void);
int32_t nolt_fd_pipe_write(void);
int32_t nolt_fd_set_nonblocking(int32_t fd, bool on);
int32_t nolt_fd_set_cloexec(int32_t fd, bool on);

int32_t nolt_STDIN(void);
int32_t nolt_STDOUT(void);
int32_t nolt_STDERR(void);
int32_t nolt_O_RDONLY(void);
int32_t nolt_O_WRONLY(void);
int32_t nolt_O_RDWR(void);
int32_t nolt_O_CREAT(void);
int32_t nolt_O_TRUNC(void);
int32_t nolt_O_APPEND(void);
int32_t nolt_O_CLOEXEC(void);

}  // extern "C"
