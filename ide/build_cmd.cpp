#include "ide/build_cmd.hpp"

#include "stdlib/core/convert.hpp"
#include "stdlib/io/dir.hpp"
#include "stdlib/io/path.hpp"
#include "stdlib/text/stringbuilder.hpp"

namespace ide {

using namespace runtime::literals;
using runtime::Array;
using stdlib::CaptureResult;
using stdlib::ExitStatus;
using stdlib::ProcessCapture;
using stdlib::sb_append;
using stdlib::string_builder;

string noltc_program() { return "noltc"_t; }

string output_path_for(const string& source) { return stdlib::strip_extension(source); }

string_array build_arg_list(const string& source, const string& output) {
    string_array args = Array<Member<Text>>::make(3);
    args[0] = source;
    args[1] = "-o"_t;
    args[2] = output;
    return args;
}

string_array project_build_arg_list() {
    string_array args = Array<Member<Text>>::make(1);
    args[0] = "build"_t;
    return args;
}

CaptureResult run_noltc_build(const string& source, const string& output) {
    return stdlib::process_run_capture(noltc_program(), build_arg_list(source, output));
}

CaptureResult run_noltc_project_build(const string& root) {
    return run_capture_in_dir(root, noltc_program(), project_build_arg_list());
}

CaptureResult run_capture_in_dir(const string& dir, const string& program, const string_array& args) {
    stdlib::Result<string, stdlib::Error> here = stdlib::current_dir();
    string previous = here.is_ok() ? here.unwrap_ok() : stdlib::empty_string();
    if (!stdlib::change_dir(dir).is_ok()) return CaptureResult{};
    CaptureResult result = stdlib::process_run_capture(program, args);
    if (!stdlib::is_empty(previous)) (void)stdlib::change_dir(previous);
    return result;
}

CaptureResult run_binary(const string& path) {
    // A name without a slash means the file in the current directory, not a program on PATH.
    string exe = stdlib::contains(path, "/"_t) ? path : stdlib::concat("./"_t, path);
    return stdlib::process_run_capture(exe, Array<Member<Text>>::make(0));
}

string status_text(const ExitStatus& status) {
    if (status.tag == ExitStatus::Exited) return stdlib::to_string(status.code);
    string text = stdlib::concat("signal "_t, stdlib::to_string(status.signal));
    return status.core_dumped ? stdlib::concat(text, " (core dumped)"_t) : text;
}

string format_failed(const string& program) {
    return stdlib::concat(stdlib::concat("FAILED to spawn `"_t, program), "` (pipe/fork). Is it on PATH?\n"_t);
}

namespace {

// An empty stream reads "(empty)"; any other is copied and ends in a line feed.
void append_stream(const string_builder& sb, const string& stream) {
    if (stdlib::is_empty(stream)) {
        sb_append(sb, "(empty)\n"_t);
        return;
    }
    sb_append(sb, stream);
    if (!stdlib::ends_with(stream, "\n"_t)) sb_append(sb, "\n"_t);
}

// The heading, the program, the output path when there is one, the exit and both streams.
string format_report(const string& heading, const string& program, const string* output,
                     const Root<ProcessCapture>& capture) {
    string_builder sb = stdlib::sb_new();
    sb_append(sb, heading);
    sb_append(sb, "program: "_t);
    sb_append(sb, program);
    if (output) {
        sb_append(sb, "\noutput:  "_t);
        sb_append(sb, *output);
    }
    sb_append(sb, "\nexit:    "_t);
    sb_append(sb, status_text(capture->status));
    sb_append(sb, "\n--- stdout ---\n"_t);
    append_stream(sb, string(capture->stdout));
    sb_append(sb, "--- stderr ---\n"_t);
    append_stream(sb, string(capture->stderr));
    return stdlib::sb_build(sb);
}

}  // namespace

string format_captured(const string& program, const string& output, const Root<ProcessCapture>& capture) {
    return format_report("=== Build ===\n"_t, program, &output, capture);
}

string format_run_captured(const string& program, const Root<ProcessCapture>& capture) {
    return format_report("=== Run ===\n"_t, program, nullptr, capture);
}

}  // namespace ide
