#include "runtime/process.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {

__thread nolt_process_status nolt_last_process = {-1, 0, 0, 0, 0, 0};
__thread char* nolt_capture_stdout_buf;
__thread int32_t nolt_capture_stdout_len;
__thread char* nolt_capture_stderr_buf;
__thread int32_t nolt_capture_stderr_len;

}  // extern "C"

namespace {

constexpr int kChunk = 4096;
constexpr int kPollWhileRunningMs = 50;

// Records a reaped child, or (reaped false) a wait that failed or found nothing.
void record(pid_t pid, bool reaped, int raw) {
    nolt_last_process = {-1, (int32_t)pid, 0, 0, 0, 0};
    if (!reaped) return;
    nolt_last_process.exit_code = nolt_wstatus_exit_code(raw);
    nolt_last_process.exited_normally = nolt_wstatus_exited(raw);
    nolt_last_process.was_signaled = nolt_wstatus_signaled(raw);
    nolt_last_process.term_signal = nolt_wstatus_term_signal(raw);
    nolt_last_process.raw_status = raw;
}

// waitpid, retried on EINTR, recording what it found. The pid, 0, or the negated errno.
int32_t wait_and_record(pid_t pid, bool nohang) {
    int raw = 0;
    pid_t got;
    do got = waitpid(pid, &raw, nohang ? WNOHANG : 0);
    while (got < 0 && errno == EINTR);
    int saved = errno;
    record(got > 0 ? got : pid, got > 0, raw);
    errno = saved;
    return got < 0 ? -saved : (int32_t)got;
}

int32_t invalid_pid() {
    record(0, false, 0);
    errno = EINVAL;
    return -1;
}

void close_if_open(int32_t& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

// One output stream of a capture: its pipe's read end and the thread's buffer for it.
struct Stream {
    int32_t fd;
    char** buffer;
    int32_t* length;
};

// Keeps the chunk behind the data with a zero byte after it; a chunk that doesn't fit is dropped.
void append(const Stream& stream, const char* chunk, ssize_t n) {
    if ((int64_t)*stream.length + n >= INT32_MAX) return;
    char* grown = (char*)realloc(*stream.buffer, (size_t)*stream.length + (size_t)n + 1);
    if (!grown) return;
    memcpy(grown + *stream.length, chunk, (size_t)n);
    *stream.length += (int32_t)n;
    grown[*stream.length] = 0;
    *stream.buffer = grown;
}

// Reads until the pipe would block; end of file or an error closes the stream.
void drain(Stream& stream, char* chunk) {
    for (;;) {
        ssize_t n = read(stream.fd, chunk, kChunk);
        if (n > 0) {
            append(stream, chunk, n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
            close_if_open(stream.fd);
            return;
        }
    }
}

// Allocates what a stream that produced nothing still needs: an empty text.
bool ensure_buffer(char** buffer) {
    if (!*buffer) *buffer = (char*)calloc(1, 1);
    return *buffer != nullptr;
}

}  // namespace

extern "C" {

// ---- status words --------------------------------------------------------------------------

int32_t nolt_wstatus_exited(int32_t raw) { return (raw & 0x7f) == 0; }
int32_t nolt_wstatus_exit_code(int32_t raw) { return nolt_wstatus_exited(raw) ? (raw >> 8) & 0xff : -1; }
int32_t nolt_wstatus_signaled(int32_t raw) { return (raw & 0x7f) >= 1 && (raw & 0x7f) <= 126; }
int32_t nolt_wstatus_term_signal(int32_t raw) { return nolt_wstatus_signaled(raw) ? raw & 0x7f : 0; }
int32_t nolt_wstatus_core_dumped(int32_t raw) { return nolt_wstatus_signaled(raw) && (raw & 0x80) != 0; }
int32_t nolt_wstatus_core_supported(void) { return 1; }

// ---- spawning ------------------------------------------------------------------------------

pid_t nolt_process_spawn_argv_fds(const char* file, char* const* argv, char* const* envp, int32_t stdin_fd,
                                  int32_t stdout_fd, int32_t stderr_fd) {
    (void)envp;
    pid_t pid = fork();
    if (pid != 0) return pid;
    // A source that sits on another standard number is lifted out of the way first, so that
    // moving one stream cannot overwrite the source of the next.
    const int requested[3] = {stdin_fd, stdout_fd, stderr_fd};
    int sources[3] = {stdin_fd, stdout_fd, stderr_fd};
    for (int target = 0; target < 3; target++)
        if (sources[target] >= 0 && sources[target] < 3 && sources[target] != target)
            sources[target] = fcntl(sources[target], F_DUPFD, 3);
    for (int target = 0; target < 3; target++) {
        if (requested[target] >= 0 && sources[target] < 0) _exit(127);
        if (sources[target] >= 0 && sources[target] != target && dup2(sources[target], target) < 0) _exit(127);
    }
    for (int source : sources)  // one descriptor may feed two streams: close after all moves
        if (source >= 3) close(source);
    execvp(file, argv);
    _exit(127);
}

pid_t nolt_process_spawn_argv(const char* file, char* const* argv, int32_t argc) {
    (void)argc;  // argv ends with its null pointer
    return nolt_process_spawn_argv_fds(file, argv, nullptr, -1, -1, -1);
}

pid_t nolt_process_spawn(const char* file, char* const* argv) {
    return nolt_process_spawn_argv_fds(file, argv, nullptr, -1, -1, -1);
}

pid_t nolt_process_spawn_shell(const char* command) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    execl("/bin/sh", "sh", "-c", command, (char*)nullptr);
    _exit(127);
}

// ---- capture -------------------------------------------------------------------------------

void nolt_process_capture_free(void) {
    free(nolt_capture_stdout_buf);
    free(nolt_capture_stderr_buf);
    nolt_capture_stdout_buf = nolt_capture_stderr_buf = nullptr;
    nolt_capture_stdout_len = nolt_capture_stderr_len = 0;
}

int32_t nolt_process_run_capture(const char* file, char* const* argv) {
    nolt_last_process = {-1, -1, 0, 0, 0, 0};
    nolt_process_capture_free();
    int32_t out[2] = {-1, -1}, err[2] = {-1, -1};
    if (nolt_pipe_cloexec(out) != 0) return -1;
    if (nolt_pipe_cloexec(err) != 0) {
        int saved = errno;
        close_if_open(out[0]);
        close_if_open(out[1]);
        errno = saved;
        return -1;
    }
    pid_t pid = nolt_process_spawn_argv_fds(file, argv, nullptr, -1, out[1], err[1]);
    int saved = errno;
    close_if_open(out[1]);
    close_if_open(err[1]);
    if (pid < 0) {
        close_if_open(out[0]);
        close_if_open(err[0]);
        errno = saved;
        return -1;
    }
    fcntl(out[0], F_SETFL, fcntl(out[0], F_GETFL) | O_NONBLOCK);
    fcntl(err[0], F_SETFL, fcntl(err[0], F_GETFL) | O_NONBLOCK);

    Stream streams[2] = {{out[0], &nolt_capture_stdout_buf, &nolt_capture_stdout_len},
                         {err[0], &nolt_capture_stderr_buf, &nolt_capture_stderr_len}};
    char chunk[kChunk];
    bool reaped = false, wait_failed = false;
    for (;;) {
        bool open = streams[0].fd >= 0 || streams[1].fd >= 0;
        if (!reaped && !wait_failed) {
            // With both pipes at end of file only the child is left: wait for it outright. The
            // wait that reaps it fills the record.
            int32_t got = wait_and_record(pid, open);
            reaped = got == pid;
            wait_failed = got < 0;
        }
        if (!open) {
            if (reaped || wait_failed) break;
            continue;
        }
        struct pollfd fds[2];
        Stream* polled[2];
        nfds_t count = 0;
        for (Stream& stream : streams) {
            if (stream.fd < 0) continue;
            fds[count] = {stream.fd, POLLIN | POLLHUP, 0};
            polled[count++] = &stream;
        }
        // Once the child is gone only its pipes can change: a grandchild that keeps one open is
        // waited for without spinning.
        int ready = poll(fds, count, reaped || wait_failed ? -1 : kPollWhileRunningMs);
        if (ready < 0 && errno != EINTR && errno != EAGAIN) {
            for (Stream& stream : streams) close_if_open(stream.fd);
            continue;
        }
        for (nfds_t i = 0; ready > 0 && i < count; i++)
            if (fds[i].revents & (POLLIN | POLLERR | POLLHUP)) drain(*polled[i], chunk);
    }
    for (Stream& stream : streams) close_if_open(stream.fd);
    if (!reaped) {
        nolt_process_capture_free();
        errno = ECHILD;
        return -1;
    }
    if (!ensure_buffer(&nolt_capture_stdout_buf) || !ensure_buffer(&nolt_capture_stderr_buf)) {
        nolt_process_capture_free();
        errno = ENOMEM;
        return -1;
    }
    return 0;
}

const char* nolt_process_capture_stdout(void) { return nolt_capture_stdout_buf ? nolt_capture_stdout_buf : ""; }
const char* nolt_process_capture_stderr(void) { return nolt_capture_stderr_buf ? nolt_capture_stderr_buf : ""; }
int32_t nolt_process_capture_stdout_len(void) { return nolt_capture_stdout_len; }
int32_t nolt_process_capture_stderr_len(void) { return nolt_capture_stderr_len; }

// ---- waiting -------------------------------------------------------------------------------

int32_t nolt_process_waitpid(pid_t pid, bool nohang) { return wait_and_record(pid, nohang); }

int32_t nolt_process_wait(pid_t pid) {
    if (pid < 1) return invalid_pid();
    return wait_and_record(pid, false) > 0 ? nolt_last_process.exit_code : -1;
}

int32_t nolt_process_try_wait(pid_t pid) {
    if (pid < 1) return invalid_pid();
    int32_t got = wait_and_record(pid, true);
    return got > 0 ? 1 : got == 0 ? 0 : -1;
}

pid_t nolt_process_wait_any(void) { return wait_and_record(-1, false) > 0 ? nolt_last_process.pid : -1; }

pid_t nolt_process_wait_any_nohang(void) {
    int32_t got = wait_and_record(-1, true);
    return got < 0 ? -1 : got;
}

int32_t nolt_process_last_raw_status(void) { return nolt_last_process.raw_status; }
int32_t nolt_process_get_exit_code(void) { return nolt_last_process.exit_code; }
int32_t nolt_process_get_signal(void) { return nolt_last_process.term_signal; }
int32_t nolt_process_exited_normally(void) { return nolt_last_process.exited_normally; }
int32_t nolt_process_was_signaled(void) { return nolt_last_process.was_signaled; }

// ---- thin system calls ---------------------------------------------------------------------

int32_t nolt_process_kill(pid_t pid, int32_t signal) { return kill(pid, signal); }
int32_t nolt_process_exec(const char* file, char* const* argv) { return execvp(file, argv); }
pid_t nolt_process_fork(void) { return fork(); }
pid_t nolt_process_setsid(void) { return setsid(); }
pid_t nolt_process_getpgid(pid_t pid) { return getpgid(pid); }
int32_t nolt_process_setpgid(pid_t pid, pid_t pgid) { return setpgid(pid, pgid); }
int32_t nolt_killpg(pid_t pgid, int32_t signal) { return killpg(pgid, signal); }
pid_t nolt_getpid(void) { return getpid(); }
pid_t nolt_getppid(void) { return getppid(); }
uid_t nolt_getuid(void) { return getuid(); }

// ---- exec blocks and pipes -----------------------------------------------------------------

char** nolt_string_array_create(char* const* strings, int32_t count) {
    if (count < 0 || (count > 0 && !strings)) return nullptr;
    char** block = (char**)malloc(((size_t)count + 1) * sizeof(char*));
    if (!block) return nullptr;
    for (int32_t i = 0; i < count; i++) block[i] = strings[i] ? strings[i] : (char*)"";
    block[count] = nullptr;
    return block;
}

void nolt_string_array_free(char** block) { free(block); }

int32_t nolt_pipe_cloexec(int32_t fds[2]) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    if (fcntl(ends[0], F_SETFD, FD_CLOEXEC) != 0) {
        int saved = errno;
        close(ends[0]);
        close(ends[1]);
        errno = saved;
        return -1;
    }
    fds[0] = ends[0];
    fds[1] = ends[1];
    return 0;
}

}  // extern "C"
