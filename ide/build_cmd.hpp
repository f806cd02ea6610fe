// Build and Run through the compiler: which program starts with which arguments in which
// directory, and the plain report text made of what came back. No state, no drawing.
#pragma once
#include <stdint.h>

#include "stdlib/sys/process.hpp"

namespace ide {

using runtime::Member;
using runtime::Root;
using runtime::Text;
using stdlib::string;
using stdlib::string_array;

inline constexpr int32_t CMD_BUILD = 140;
inline constexpr int32_t CMD_RUN = 141;

// "noltc": a bare name, looked up through PATH.
string noltc_program();
// The source path without its extension: a single file's binary stands beside it.
string output_path_for(const string& source);
// source, "-o", output.
string_array build_arg_list(const string& source, const string& output);
// "build".
string_array project_build_arg_list();

// Each blocks until the child has ended and both of its output streams are closed.
// `noltc source -o output`, in the current directory.
stdlib::CaptureResult run_noltc_build(const string& source, const string& output);
// `noltc build` in the project's root, where nolt.toml lies.
stdlib::CaptureResult run_noltc_project_build(const string& root);
// Runs the program with `dir` as working directory and changes back afterwards. Failed, with no
// child started, if `dir` cannot be entered.
stdlib::CaptureResult run_capture_in_dir(const string& dir, const string& program, const string_array& args);
// The binary with no arguments, in the current directory; a bare name is a file there.
stdlib::CaptureResult run_binary(const string& path);

// "3", or "signal 11" with " (core dumped)" behind it when the core flag is set.
string status_text(const stdlib::ExitStatus& status);
// The one line shown when no child could be started.
string format_failed(const string& program);
// The "=== Build ===" report: program, output path, exit, then both streams.
string format_captured(const string& program, const string& output, const Root<stdlib::ProcessCapture>& capture);
// The "=== Run ===" report: as format_captured without the output line.
string format_run_captured(const string& program, const Root<stdlib::ProcessCapture>& capture);

}  // namespace ide
