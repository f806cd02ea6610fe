#include "stdlib/io/file.hpp"

#include <errno.h>
#include <fcntl.h>

#include "runtime/fs.hpp"
#include "runtime/process.hpp"
#include "runtime/signal.hpp"
#include "stdlib/core/convert.hpp"
#include "stdlib/fs/perm.hpp"
#include "stdlib/fs/stat.hpp"

namespace stdlib {

namespace {

Root<Error> read_error(ErrorKind kind, const string& path) {
    return error(kind, concat("failed to read file: "_t, path));
}

// The size of an open regular file, or -1 (also for a directory, which opens for reading too, and
// for a size beyond 32 bits).
int32_t size_of(FILE* stream, const string& path) {
    if (is_directory(path) || nolt_fseek(stream, 0, nolt_SEEK_END()) != 0) return -1;
    int32_t size = nolt_ftell(stream);
    return nolt_fseek(stream, 0, nolt_SEEK_SET()) == 0 ? size : -1;
}

}  // namespace

bool fileExists(const string& path) { return nolt_fs_can_read(c_str(path)) == 1; }

Result<string, Error> readFile(const string& path) {
    FILE* stream = nolt_fopen(c_str(path), "r");
    if (!stream) return Err(read_error(io_failure_kind(path), path));
    int32_t size = size_of(stream, path);
    if (size <= 0) {
        nolt_fclose(stream);
        if (size < 0) return Err(read_error(ErrorKind::IoError, path));
        return Ok(empty_string());
    }
    string text = string_buffer(size);
    int64_t got = nolt_fread(text->bytes(), 1, size, stream);
    bool failed = nolt_ferror(stream) != 0;
    nolt_fclose(stream);
    if (failed) return Err(read_error(ErrorKind::IoError, path));
    set_length(text, (int32_t)got);
    return Ok(text);
}

Result<bool, Error> writeFile(const string& path, const string& text) {
    FILE* stream = nolt_fopen(c_str(path), "w");
    if (!stream) return Err(error(ErrorKind::IoError, concat("failed to write file: "_t, path)));
    int32_t size = length(text);
    int64_t written = size > 0 ? nolt_fwrite(c_str(text), 1, size, stream) : 0;
    // Buffered bytes meet the device at the close, so its failure is a short write as well.
    bool closed = nolt_fclose(stream) == 0;
    if (written < size || !closed) return Err(error(ErrorKind::IoError, concat("short write to file: "_t, path)));
    return Ok(true);
}

Result<bool, Error> replaceFile(const string& path, const string& text) {
    int32_t mode = nolt_fs_file_mode(c_str(path));  // -1: a new file
    if (nolt_fs_is_symlink(c_str(path)) ||
        (mode >= 0 && (!is_writable(path) || nolt_fs_file_uid(c_str(path)) != (int64_t)nolt_getuid())))
        return writeFile(path, text);
    string beside = concat(concat(path, ".saving-"_t), to_string((int32_t)nolt_getpid()));
    int32_t fd = nolt_fd_open(c_str(beside), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno == EACCES) return writeFile(path, text);
    bool written = fd >= 0;
    for (int64_t done = 0, n; written && done < length(text); done += n)
        written = (n = nolt_fd_write(fd, c_str(text) + done, length(text) - done)) > 0;
    bool closed = fd >= 0 && nolt_fd_close(fd) == 0;
    if (written && closed && nolt_fs_fsync(c_str(beside)) == 0 && (mode < 0 || nolt_fs_chmod(c_str(beside), mode) == 0) &&
        nolt_fs_rename(c_str(beside), c_str(path)) == 0)
        return Ok(true);
    if (fd >= 0) nolt_fs_unlink(c_str(beside));
    return Err(error(ErrorKind::IoError, concat("failed to write file: "_t, path)));
}

}  // namespace stdlib
