// Byte streams for terminal tests: a pipe or a pseudo-terminal to open a Term on, what
// arrived at the other end, and an application whose loops read keys from a pipe. Nested modal
// runs are left to the end-to-end flows, which answer each box once it shows.
#pragma once
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>

#include "kestrum/desktop.hpp"
#include "kestrum/term.hpp"
#include "tests/support/boot.hpp"

namespace stream {

struct Pipe {
    int read_end = -1, write_end = -1;
    Pipe() {
        int ends[2];
        if (pipe(ends) == 0) read_end = ends[0], write_end = ends[1];
    }
    ~Pipe() { close(read_end), close(write_end); }
};

// A pty pair whose slave reports the given size.
struct Pty {
    int master = -1, slave = -1;
    Pty(int cols, int rows) {
        struct winsize size = {(unsigned short)rows, (unsigned short)cols, 0, 0};
        openpty(&master, &slave, nullptr, nullptr, &size);
    }
    ~Pty() { close(master), close(slave); }
};

// Everything readable on `fd`: waits up to `wait_ms` for the first bytes and a tenth of that for
// each further piece. A pipe has its bytes at once; a pty passes them on a little later.
inline std::string take(int fd, int wait_ms = 0) {
    std::string got;
    char chunk[4096];
    struct pollfd readable = {fd, POLLIN, 0};
    while (poll(&readable, 1, got.empty() ? wait_ms : wait_ms / 10) > 0) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n <= 0) break;
        got.append(chunk, (size_t)n);
    }
    return got;
}

// An open Term that writes to `out_fd` and touches no tty; opening writes nothing unless `basic`.
inline runtime::Root<kestrum::Term> open_on(int out_fd, kestrum::ColorDepth depth, bool basic = false) {
    kestrum::TermConfig config;
    config.raw_mode = false;
    config.require_tty = false;
    config.basic = basic;
    config.out_fd = out_fd;
    runtime::Root<kestrum::Term> term = kestrum::unwrap(kestrum::term_open(config));
    term->depth = depth;
    return term;
}

// An application whose terminal reads the keys a test writes into a pipe and draws to
// /dev/null, so that its loops run without a real terminal.
class Loops : public testing::Test {
protected:
    Pipe keys;
    int null_fd = open("/dev/null", O_WRONLY);
    runtime::Root<kestrum::Application> app = kestrum::Application::create(kestrum::theme_classic());

    void SetUp() override {
        runtime::Root<kestrum::Term> term = open_on(null_fd, kestrum::ColorDepth::TrueColor);
        term->in_fd = keys.read_end;
        app->term = term;
        app->is_open = app->running = true;
        app->rebuild_buffers();
    }
    void TearDown() override { close(null_fd); }
    // Bytes that a modal run reads after the one before it has ended are lost with that run's
    // read, so type the keys of each run just before it.
    void type(const std::string& bytes) { ASSERT_EQ(write(keys.write_end, bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
    // A left press at screen cell (x, y).
    static std::string click(int32_t x, int32_t y) {
        return "\x1b[<0;" + std::to_string(x + 1) + ";" + std::to_string(y + 1) + "M";
    }
};

}  // namespace stream
