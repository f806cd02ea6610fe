#include "runtime/signal.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include "runtime/platform.hpp"

static_assert(SIGHUP == 1 && SIGINT == 2 && SIGQUIT == 3 && SIGKILL == 9 && SIGUSR1 == 10 &&
              SIGUSR2 == 12 && SIGPIPE == 13 && SIGALRM == 14 && SIGTERM == 15 && SIGCHLD == 17 &&
              SIGCONT == 18 && SIGSTOP == 19 && SIGURG == 23);
static_assert(POLLIN == 1 && POLLOUT == 4 && POLLERR == 8 && POLLHUP == 16);
static_assert(O_RDONLY == 0 && O_WRONLY == 1 && O_RDWR == 2 && O_CREAT == 64 && O_TRUNC == 512 &&
              O_APPEND == 1024 && O_CLOEXEC == 524288);

extern "C" {

nolt_signal_fn nolt_signal_handlers[NOLT_SIGNAL_COUNT];
volatile uint32_t nolt_signal_flags[NOLT_SIGNAL_COUNT];
volatile int32_t nolt_selfpipe_write_fd = -1;

// The poll set and the ends of the last nolt_fd_pipe, per thread.
static __thread struct pollfd nolt_poll_fds[NOLT_POLL_CAPACITY];
static __thread int32_t tls_poll_nfd;
static __thread int32_t nolt_pipe_fds[2] = {-1, -1};

static bool in_table(int32_t signal) { return signal >= 0 && signal < NOLT_SIGNAL_COUNT; }

static int32_t refuse(void) {
    errno = EINVAL;
    return -1;
}

static int32_t install(int32_t signal, void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = flags;
    return sigaction(signal, &action, nullptr) == 0 ? 0 : -1;
}

void nolt_signal_init(void) {
    for (int32_t i = 0; i < NOLT_SIGNAL_COUNT; i++) {
        __atomic_store_n(&nolt_signal_handlers[i], nullptr, __ATOMIC_SEQ_CST);
        __atomic_store_n(&nolt_signal_flags[i], 0u, __ATOMIC_SEQ_CST);
    }
}

void nolt_internal_signal_handler(int32_t signal) {
    if (!in_table(signal)) return;
    int saved = errno;
    __atomic_store_n(&nolt_signal_flags[signal], 1u, __ATOMIC_SEQ_CST);
    nolt_signal_fn function = __atomic_load_n(&nolt_signal_handlers[signal], __ATOMIC_SEQ_CST);
    if (function) function(signal);
    errno = saved;
}

int32_t nolt_signal_set_handler(int32_t signal, nolt_signal_fn function) {
    if (signal == SIGURG || signal < 1 || signal >= NOLT_SIGNAL_COUNT) return refuse();
    if (install(signal, nolt_internal_signal_handler, SA_RESTART) != 0) return -1;
    __atomic_store_n(&nolt_signal_handlers[signal], function, __ATOMIC_SEQ_CST);
    __atomic_store_n(&nolt_signal_flags[signal], 0u, __ATOMIC_SEQ_CST);
    return 0;
}

int32_t nolt_signal_ignore(int32_t signal) {
    if (signal == SIGURG) return refuse();
    return install(signal, SIG_IGN, 0);
}

int32_t nolt_signal_default(int32_t signal) {
    if (signal == SIGURG) return refuse();
    if (in_table(signal)) {
        __atomic_store_n(&nolt_signal_handlers[signal], nullptr, __ATOMIC_SEQ_CST);
        __atomic_store_n(&nolt_signal_flags[signal], 0u, __ATOMIC_SEQ_CST);
    }
    return install(signal, SIG_DFL, 0);
}

int32_t nolt_signal_check(int32_t signal) {
    if (!in_table(signal)) return 0;
    return __atomic_exchange_n(&nolt_signal_flags[signal], 0u, __ATOMIC_SEQ_CST) != 0 ? 1 : 0;
}

static int32_t change_mask(int how, int32_t signal) {
    sigset_t set;
    sigemptyset(&set);
    if (sigaddset(&set, signal) != 0) return -1;
    return sigprocmask(how, &set, nullptr) == 0 ? 0 : -1;
}

int32_t nolt_signal_block(int32_t signal) {
    if (signal == SIGURG) return refuse();
    return change_mask(SIG_BLOCK, signal);
}

int32_t nolt_signal_unblock(int32_t signal) { return change_mask(SIG_UNBLOCK, signal); }

static int32_t wait_on(const sigset_t* set) {
    int number = -1;
    int error = sigwait(set, &number);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return number;
}

int32_t nolt_signal_wait(void) {
    sigset_t set;
    sigemptyset(&set);
    return wait_on(&set);
}

int32_t nolt_signal_wait_set(const int32_t* signals, int32_t count) {
    sigset_t set;
    sigemptyset(&set);
    if (count > 0 && !signals) return refuse();
    for (int32_t i = 0; i < count; i++) {
        if (signals[i] == SIGURG) return refuse();
        if (sigaddset(&set, signals[i]) != 0) return -1;
    }
    return wait_on(&set);
}

const char* nolt_signal_name(int32_t signal) {
    switch (signal) {
        case 1: return "SIGHUP";
        case 2: return "SIGINT";
        case 3: return "SIGQUIT";
        case 9: return "SIGKILL";
        case 10: return "SIGUSR1";
        case 12: return "SIGUSR2";
        case 13: return "SIGPIPE";
        case 14: return "SIGALRM";
        case 15: return "SIGTERM";
        case 17: return "SIGCHLD";
        case 18: return "SIGCONT";
        case 19: return "SIGSTOP";
        default: return "UNKNOWN";
    }
}

void nolt_selfpipe_handler(int32_t signal) {
    int saved = errno;
    int32_t fd = __atomic_load_n(&nolt_selfpipe_write_fd, __ATOMIC_SEQ_CST);
    if (fd >= 0) {
        unsigned char byte = (unsigned char)(signal & 0xff);
        // The write end is non-blocking: a full pipe drops the byte.
        ssize_t written = write(fd, &byte, 1);
        (void)written;
    }
    errno = saved;
}

int32_t nolt_signal_selfpipe_create(int32_t fds[2]) {
    if (!fds) return refuse();
    int ends[2];
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) return -1;
    fds[0] = ends[0];
    fds[1] = ends[1];
    return 0;
}

int32_t nolt_signal_selfpipe_register(int32_t signal, int32_t write_fd) {
    if (signal == SIGURG) return refuse();
    __atomic_store_n(&nolt_selfpipe_write_fd, write_fd, __ATOMIC_SEQ_CST);
    return install(signal, nolt_selfpipe_handler, SA_RESTART);
}

int32_t nolt_signal_selfpipe_read(int32_t read_fd) {
    unsigned char byte = 0;
    ssize_t got;
    do {
        got = read(read_fd, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1 ? (int32_t)byte : -1;
}

int32_t nolt_signal_raise_default(int32_t signal) {
    if (signal == SIGURG) return refuse();
    if (install(signal, SIG_DFL, 0) != 0 || raise(signal) != 0) return -1;
    return nolt_signal_unblock(signal);
}

static void fatal_signal_handler(int signal) {
    nolt_platform_before_fatal();
    nolt_signal_raise_default(signal);
}

int32_t nolt_signal_fatal_init(void) {
    static char alternate_stack[64 * 1024];
    stack_t stack {};
    stack.ss_sp = alternate_stack;
    stack.ss_size = sizeof alternate_stack;
    if (sigaltstack(&stack, nullptr) != 0) return -1;
    static const int faults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP};
    for (int signal : faults)
        if (install(signal, fatal_signal_handler, SA_ONSTACK | SA_RESETHAND) != 0) return -1;
    return 0;
}

int32_t nolt_SIGRTMIN(void) { return SIGRTMIN; }
int32_t nolt_SIGRTMIN_offset(int32_t n) { return SIGRTMIN + n; }

int32_t nolt_SIGHUP(void) { return SIGHUP; }
int32_t nolt_SIGINT(void) { return SIGINT; }
int32_t nolt_SIGQUIT(void) { return SIGQUIT; }
int32_t nolt_SIGKILL(void) { return SIGKILL; }
int32_t nolt_SIGUSR1(void) { return SIGUSR1; }
int32_t nolt_SIGUSR2(void) { return SIGUSR2; }
int32_t nolt_SIGPIPE(void) { return SIGPIPE; }
int32_t nolt_SIGALRM(void) { return SIGALRM; }
int32_t nolt_SIGTERM(void) { return SIGTERM; }
int32_t nolt_SIGCHLD(void) { return SIGCHLD; }
int32_t nolt_SIGCONT(void) { return SIGCONT; }
int32_t nolt_SIGSTOP(void) { return SIGSTOP; }

void nolt_poll_clear(void) { tls_poll_nfd = 0; }

int32_t nolt_poll_count(void) { return tls_poll_nfd; }

int32_t nolt_poll_add(int32_t fd, int32_t events) {
    if (tls_poll_nfd >= NOLT_POLL_CAPACITY) return -1;
    int32_t slot = tls_poll_nfd++;
    nolt_poll_fds[slot].fd = fd;
    nolt_poll_fds[slot].events = (short)events;
    nolt_poll_fds[slot].revents = 0;
    return slot;
}

int32_t nolt_poll_wait(int32_t timeout_ms) {
    int ready = poll(nolt_poll_fds, (nfds_t)tls_poll_nfd, timeout_ms);
    if (ready >= 0) return ready;
    return errno == EINTR ? 0 : -1;
}

int32_t nolt_poll_revents(int32_t slot) {
    if (slot < 0 || slot >= tls_poll_nfd) return 0;
    return (uint16_t)nolt_poll_fds[slot].revents;
}

int32_t nolt_poll_has_event(int32_t slot, int32_t mask) {
    return (nolt_poll_revents(slot) & mask) != 0 ? 1 : 0;
}

int32_t nolt_POLLIN(void) { return POLLIN; }
int32_t nolt_POLLOUT(void) { return POLLOUT; }
int32_t nolt_POLLERR(void) { return POLLERR; }
int32_t nolt_POLLHUP(void) { return POLLHUP; }

int32_t nolt_fd_open(const char* path, int32_t flags, int32_t mode) {
    if (!path) return refuse();
    int fd;
    do {
        fd = open(path, flags, (mode_t)mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

int64_t nolt_fd_read(int32_t fd, void* buffer, int64_t length) {
    if (length < 0 || (!buffer && length > 0)) return refuse();
    ssize_t got;
    do {
        got = read(fd, buffer, (size_t)length);
    } while (got < 0 && errno == EINTR);
    return got;
}

int64_t nolt_fd_write(int32_t fd, const void* buffer, int64_t length) {
    if (length < 0 || (!buffer && length > 0)) return refuse();
    ssize_t put;
    do {
        put = write(fd, buffer, (size_t)length);
    } while (put < 0 && errno == EINTR);
    return put;
}

int32_t nolt_fd_close(int32_t fd) { return close(fd); }
int32_t nolt_fd_dup(int32_t fd) { return dup(fd); }
int32_t nolt_fd_dup2(int32_t old_fd, int32_t new_fd) { return dup2(old_fd, new_fd); }

int32_t nolt_fd_pipe(void) {
    int ends[2];
    if (pipe(ends) != 0) {
        nolt_pipe_fds[0] = nolt_pipe_fds[1] = -1;
        return -1;
    }
    nolt_pipe_fds[0] = ends[0];
    nolt_pipe_fds[1] = ends[1];
    return 0;
}

int32_t nolt_fd_pipe_read(void) { return nolt_pipe_fds[0]; }
int32_t nolt_fd_pipe_write(void) { return nolt_pipe_fds[1]; }

static int32_t change_flag(int32_t fd, int get, int set, int flag, bool on) {
    int flags = fcntl(fd, get);
    if (flags < 0) return -1;
    int wanted = on ? (flags | flag) : (flags & ~flag);
    if (wanted == flags) return 0;
    return fcntl(fd, set, wanted) == 0 ? 0 : -1;
}

int32_t nolt_fd_set_nonblocking(int32_t fd, bool on) {
    return change_flag(fd, F_GETFL, F_SETFL, O_NONBLOCK, on);
}

int32_t nolt_fd_set_cloexec(int32_t fd, bool on) {
    return change_flag(fd, F_GETFD, F_SETFD, FD_CLOEXEC, on);
}

int32_t nolt_STDIN(void) { return STDIN_FILENO; }
int32_t nolt_STDOUT(void) { return STDOUT_FILENO; }
int32_t nolt_STDERR(void) { return STDERR_FILENO; }
int32_t nolt_O_RDONLY(void) { return O_RDONLY; }
int32_t nolt_O_WRONLY(void) { return O_WRONLY; }
int32_t nolt_O_RDWR(void) { return O_RDWR; }
int32_t nolt_O_CREAT(void) { return O_CREAT; }
int32_t nolt_O_TRUNC(void) { return O_TRUNC; }
int32_t nolt_O_APPEND(void) { return O_APPEND; }
int32_t nolt_O_CLOEXEC(void) { return O_CLOEXEC; }

}  // extern "C"
