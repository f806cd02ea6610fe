// Process layer: fork, exec, pipes and waits, with a per-thread record of the last wait and the
// last capture of a child's two output streams.
//
// Every blocking call retries on EINTR: the collector stops a thread with a signal that has no
// SA_RESTART. The child side of the spawn functions only moves descriptors and execs; a failing
// dup2 or exec ends the child with status 127.
#pragma once
#include <stdint.h>
#include <sys/types.h>

extern "C" {

// The last wait of this thread. Fields stay in this order.
typedef struct nolt_process_status {
    int32_t exit_code;        // the exit code if the child exited, else -1
    int32_t pid;
    int32_t exited_normally;  // 1 or 0
    int32_t was_signaled;     // 1 or 0
    int32_t term_signal;      // 0 if none
    int32_t raw_status;       // the status word as the wait gave it
} nolt_process_status;

extern __thread nolt_process_status nolt_last_process;

// The last capture of this thread: system memory with a zero byte behind the data, kept until
// nolt_process_capture_free or the next capture.
extern __thread char* nolt_capture_stdout_buf;
extern __thread int32_t nolt_capture_stdout_len;
extern __thread char* nolt_capture_stderr_buf;
extern __thread int32_t nolt_capture_stderr_len;

int32_t nolt_wstatus_exited(int32_t raw);
int32_t nolt_wstatus_exit_code(int32_t raw);  // -1 unless exited
int32_t nolt_wstatus_signaled(int32_t raw);
int32_t nolt_wstatus_term_signal(int32_t raw);  // 0 unless signaled
int32_t nolt_wstatus_core_dumped(int32_t raw);
int32_t nolt_wstatus_core_supported(void);

// Runs `file` (found through PATH) with `argv`, which ends with a null pointer, and collects
// everything it writes to stdout and stderr until both reach end of file and the child has been
// reaped. 0 whatever the child's status; -1 if a pipe, the fork or the wait failed.
int32_t nolt_process_run_capture(const char* file, char* const* argv);
const char* nolt_process_capture_stdout(void);  // a static empty text when there is none
const char* nolt_process_capture_stderr(void);
int32_t nolt_process_capture_stdout_len(void);
int32_t nolt_process_capture_stderr_len(void);
void nolt_process_capture_free(void);

// Each descriptor that is 0 or above becomes the child's stdin, stdout or stderr. `envp` is not
// used: the child has the parent's environment. The pid, or -1.
pid_t nolt_process_spawn_argv_fds(const char* file, char* const* argv, char* const* envp, int32_t stdin_fd,
                                  int32_t stdout_fd, int32_t stderr_fd);
pid_t nolt_process_spawn_argv(const char* file, char* const* argv, int32_t argc);
pid_t nolt_process_spawn(const char* file, char* const* argv);
pid_t nolt_process_spawn_shell(const char* command);

// The pid, 0 if nothing is ready, or the negated errno.
int32_t nolt_process_waitpid(pid_t pid, bool nohang);
// The exit code, -1 if the child was signaled (see nolt_process_was_signaled) or on failure.
int32_t nolt_process_wait(pid_t pid);
int32_t nolt_process_try_wait(pid_t pid);  // 1 reaped, 0 not yet, -1 error
pid_t nolt_process_wait_any(void);         // the pid, or -1
pid_t nolt_process_wait_any_nohang(void);  // the pid, 0 if nothing is ready, or -1

int32_t nolt_process_last_raw_status(void);
int32_t nolt_process_get_exit_code(void);
int32_t nolt_process_get_signal(void);
int32_t nolt_process_exited_normally(void);
int32_t nolt_process_was_signaled(void);

int32_t nolt_process_kill(pid_t pid, int32_t signal);
int32_t nolt_process_exec(const char* file, char* const* argv);
pid_t nolt_process_fork(void);
pid_t nolt_process_setsid(void);
pid_t nolt_process_getpgid(pid_t pid);
int32_t nolt_process_setpgid(pid_t pid, pid_t pgid);
int32_t nolt_killpg(pid_t pgid, int32_t signal);
pid_t nolt_getpid(void);
pid_t nolt_getppid(void);
uid_t nolt_getuid(void);
// nolt_umask belongs to the file layer (runtime/fs.hpp).

// A block from the system allocator holding the `count` text pointers and a null pointer behind
// them, for exec. A null text stands as "". Null if `count` is negative or memory is short.
char** nolt_string_array_create(char* const* strings, int32_t count);
void nolt_string_array_free(char** block);

// A pipe whose read end alone is close-on-exec. On failure both ends are closed, errno is kept.
int32_t nolt_pipe_cloexec(int32_t fds[2]);

}  // extern "C"
