#include "stdlib/sys/process.hpp"

#include <errno.h>

#include "runtime/process.hpp"

namespace stdlib {

namespace {

// The exec block of `argv`: pointers into the managed texts, which stay put for the call.
char** exec_block(const string_array& argv) {
    return nolt_string_array_create(reinterpret_cast<char* const*>(argv ? argv->data() : nullptr),
                                    length(argv));
}

}  // namespace

bool ExitStatus::success() const { return tag == Exited && code == 0; }

int32_t ExitStatus::shell_code() const { return tag == Exited ? code : 128 + signal; }

ExitStatus exit_status_from_raw(int32_t raw) {
    if (nolt_wstatus_signaled(raw))
        return ExitStatus{ExitStatus::Signaled, 0, nolt_wstatus_term_signal(raw), nolt_wstatus_core_dumped(raw) != 0};
    return ExitStatus{ExitStatus::Exited, nolt_wstatus_exit_code(raw), 0, false};
}

SysError sys_error_from_neg(int32_t negated_errno) {
    if (-negated_errno == ECHILD) return SysError{SysError::NoChild, 0, 0};
    return SysError{SysError::Errno, 0, -negated_errno};
}

CaptureResult process_run_capture(const string& path, const string_array& args) {
    int32_t count = length(args);
    string_array argv = Array<Member<Text>>::make((uint64_t)count + 1);
    argv[0] = path;
    for (int32_t i = 0; i < count; i++) argv[i + 1] = args[i];
    char** block = exec_block(argv);
    int32_t rc = block ? nolt_process_run_capture(c_str(path), block) : -1;
    nolt_string_array_free(block);
    if (rc < 0) {
        nolt_process_capture_free();
        return CaptureResult{};
    }
    Root<ProcessCapture> capture = runtime::make<ProcessCapture>();
    capture->status = exit_status_from_raw(nolt_process_last_raw_status());
    capture->code = capture->status.shell_code();
    capture->stdout = from_bytes(nolt_process_capture_stdout(), nolt_process_capture_stdout_len());
    capture->stderr = from_bytes(nolt_process_capture_stderr(), nolt_process_capture_stderr_len());
    nolt_process_capture_free();
    return CaptureResult{CaptureResult::Captured, capture};
}

Option<int32_t> process_spawn(const string& path, const string_array& argv) {
    char** block = exec_block(argv);
    if (!block) return None;
    pid_t pid = nolt_process_spawn(c_str(path), block);
    nolt_string_array_free(block);
    if (pid < 0) return None;
    return Some((int32_t)pid);
}

Result<ExitStatus, SysError> process_wait_status(int32_t pid) {
    if (pid <= 0) return Err(SysError{SysError::InvalidPid, pid, 0});
    int32_t got = nolt_process_waitpid(pid, false);
    if (got < 0) return Err(sys_error_from_neg(got));
    return Ok(exit_status_from_raw(nolt_process_last_raw_status()));
}

ForkResult process_fork() {
    pid_t pid = nolt_process_fork();
    if (pid < 0) return ForkResult{};
    if (pid == 0) return ForkResult{ForkResult::Child, 0};
    return ForkResult{ForkResult::Parent, (int32_t)pid};
}

WaitAnyResult process_wait_any() {
    pid_t pid = nolt_process_wait_any_nohang();
    if (pid < 0) return WaitAnyResult{};
    if (pid == 0) return WaitAnyResult{WaitAnyResult::NoneReady, 0};
    return WaitAnyResult{WaitAnyResult::Exited, (int32_t)pid};
}

}  // namespace stdlib
