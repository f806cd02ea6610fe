// sys.process: child processes as typed values. A capture runs a child to its end and keeps all
// it wrote to stdout and stderr, byte for byte, in two separate texts.
#pragma once
#include <stdint.h>

#include "stdlib/core/result.hpp"
#include "stdlib/core/str.hpp"

namespace stdlib {

// How a child ended.
struct ExitStatus {
    enum Tag : int32_t { Exited, Signaled };
    Tag tag = Exited;
    int32_t code = 0;          // Exited
    int32_t signal = 0;        // Signaled
    bool core_dumped = false;  // Signaled

    bool success() const;     // Exited(0) only
    int32_t shell_code() const;  // the code, or 128 + the signal
};

struct SysError {
    enum Tag : int32_t { NoChild, InvalidPid, Errno };
    Tag tag = NoChild;
    int32_t pid = 0;   // InvalidPid
    int32_t code = 0;  // Errno
};

class ProcessCapture {
    NOLT_MANAGED(ProcessCapture, void);

public:
    ExitStatus status;
    int32_t code = 0;  // status.shell_code()
    Member<Text> stdout;
    Member<Text> stderr;
};

struct CaptureResult {
    enum Tag : int32_t { Captured, Failed };
    Tag tag = Failed;
    Root<ProcessCapture> capture;  // Captured only
};

struct ForkResult {
    enum Tag : int32_t { Parent, Child, Failed };
    Tag tag = Failed;
    int32_t pid = 0;  // Parent
};

struct WaitAnyResult {
    enum Tag : int32_t { Exited, NoneReady, Failed };
    Tag tag = Failed;
    int32_t pid = 0;  // Exited
};

// Runs `path` with `path` as argv[0] and `args` behind it, in the parent's environment, working
// directory and standard input, and returns when the child has ended and both of its output
// streams are closed. A program that cannot be executed is Captured with Exited(127). Failed
// covers a pipe, fork or wait failure.
CaptureResult process_run_capture(const string& path, const string_array& args);
// Fork and exec with `argv` exactly as given; the child inherits all three standard streams.
// None only if the fork fails; a failing exec shows as exit code 127.
Option<int32_t> process_spawn(const string& path, const string_array& argv);
// Blocking wait. A pid of 0 or below is InvalidPid without any system call.
Result<ExitStatus, SysError> process_wait_status(int32_t pid);
ForkResult process_fork();
// A child that has ended, without blocking.
WaitAnyResult process_wait_any();

ExitStatus exit_status_from_raw(int32_t raw);
SysError sys_error_from_neg(int32_t negated_errno);

}  // namespace stdlib
