// Preloaded into a program under test: files opened under the path prefix FAULT_PATH fail one
// kind of call, FAULT_CALL ("write", "fsync" or "close"), with the errno number FAULT_ERRNO. The
// first failing write still writes half of its bytes, as a disk that fills up part-way does. Both
// descriptors and stdio streams are covered; close and fclose close before they fail.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

enum State : char { Clean, Faulty, PartWritten };
State fds[4096];

template <class F>
F next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

void track(int fd, const char* path) {
    const char* prefix = getenv("FAULT_PATH");
    if (fd >= 0 && fd < 4096)
        fds[fd] = prefix && *prefix && path && strncmp(path, prefix, strlen(prefix)) == 0 ? Faulty : Clean;
}

// The state of `fd` if `call` is the one that fails there, else Clean.
State failing(int fd, const char* call) {
    const char* chosen = getenv("FAULT_CALL");
    return fd >= 0 && fd < 4096 && chosen && strcmp(chosen, call) == 0 ? fds[fd] : Clean;
}

int fail() {
    const char* number = getenv("FAULT_ERRNO");
    errno = number ? atoi(number) : EIO;
    return -1;
}

// How much of `count` to write for real at a failing write: half the first time, then nothing.
size_t part(int fd, size_t count) {
    if (fds[fd] == PartWritten || count < 2) return 0;
    fds[fd] = PartWritten;
    return count / 2;
}

// Forgets `fd`, and says whether its close is the call that fails.
bool closing(int fd) {
    bool fails = failing(fd, "close");
    if (fd >= 0 && fd < 4096) fds[fd] = Clean;
    return fails;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    int fd = next<int (*)(const char*, int, ...)>("open")(path, flags, va_arg(args, mode_t));
    va_end(args);
    track(fd, path);
    return fd;
}

FILE* fopen(const char* path, const char* mode) {
    FILE* stream = next<FILE* (*)(const char*, const char*)>("fopen")(path, mode);
    if (stream) track(fileno(stream), path);
    return stream;
}

ssize_t write(int fd, const void* bytes, size_t count) {
    auto real = next<ssize_t (*)(int, const void*, size_t)>("write");
    if (!failing(fd, "write")) return real(fd, bytes, count);
    size_t some = part(fd, count);
    return some ? real(fd, bytes, some) : fail();
}

size_t fwrite(const void* bytes, size_t size, size_t count, FILE* stream) {
    auto real = next<size_t (*)(const void*, size_t, size_t, FILE*)>("fwrite");
    int fd = fileno(stream);
    if (!failing(fd, "write")) return real(bytes, size, count, stream);
    size_t some = part(fd, count);
    return some ? real(bytes, size, some, stream) : (fail(), 0);
}

int fsync(int fd) { return failing(fd, "fsync") ? fail() : next<int (*)(int)>("fsync")(fd); }

int close(int fd) {
    bool fails = closing(fd);
    int result = next<int (*)(int)>("close")(fd);
    return fails ? fail() : result;
}

int fclose(FILE* stream) {
    bool fails = closing(fileno(stream));
    int result = next<int (*)(FILE*)>("fclose")(stream);
    return fails ? (fail(), EOF) : result;
}

}  // extern "C"
