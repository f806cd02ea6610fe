#include "runtime/fs.hpp"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "runtime/heaps.hpp"
#include "runtime/signal.hpp"
#include "runtime/values.hpp"

namespace {

constexpr int32_t MAX_DEPTH = 256;
constexpr size_t PATH_BYTES = 4096;  // with the zero byte
constexpr size_t NAME_BYTES = 256;
constexpr size_t COPY_BUFFER = 8192;

// Scratch space for the reentrant password and group lookups.
__thread char db_buffer[16384];

int32_t refuse(int error) {
    errno = error;
    return -1;
}

// Closes a descriptor without disturbing the errno of the failure being reported.
void close_keeping_errno(int fd) {
    int saved = errno;
    close(fd);
    errno = saved;
}

char* managed_copy(const char* bytes, size_t limit) {
    size_t n = bytes ? strnlen(bytes, limit) : 0;
    if (n == 0) return nolt_string_empty();
    char* text = nolt_alloc_string_buffer((int64_t)n + 1);
    memcpy(text, bytes, n);
    return text;
}

void set_text_length(char* text, int32_t length) {
    nolt_block_of(text)->string_length = length;
    text[length] = '\0';
}

// The room a caller's managed text offers: `size` bytes, but never more than its capacity.
int64_t room_in(const char* text, int64_t size) {
    int64_t capacity = (int64_t)nolt_string_capacity(text);
    return size < capacity ? size : capacity;
}

bool stat_of(const char* path, struct stat* st, bool follow) {
    if (!path) return false;
    return (follow ? stat(path, st) : lstat(path, st)) == 0;
}

int32_t has_type(const char* path, mode_t type, bool follow = true) {
    struct stat st;
    return stat_of(path, &st, follow) && (st.st_mode & S_IFMT) == type ? 1 : 0;
}

int open_retry(const char* path, int flags, mode_t mode = 0) {
    return nolt_fd_open(path, flags | O_CLOEXEC, (int32_t)mode);
}

int open_at_retry(int dir_fd, const char* name, int flags) {
    int fd;
    do {
        fd = openat(dir_fd, name, flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool write_all(int fd, const char* bytes, size_t length) {
    while (length > 0) {
        int64_t put = nolt_fd_write(fd, bytes, (int64_t)length);
        if (put <= 0) return false;
        bytes += put;
        length -= (size_t)put;
    }
    return true;
}

int32_t fsync_descriptor(int fd) {
    if (fd < 0) return -1;
    int rc;
    do {
        rc = fsync(fd);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        close_keeping_errno(fd);
        return -1;
    }
    return close(fd) == 0 ? 0 : -1;
}

bool is_dot_or_dotdot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// ---- remove_tree ---------------------------------------------------------------------------

// Counts the components of a path that removal may touch; -1 if a ".." segment makes the reach
// of the path a matter of where it is resolved.
int32_t removable_components(const char* path) {
    int32_t count = 0;
    for (const char* p = path; *p;) {
        while (*p == '/') p++;
        const char* start = p;
        while (*p && *p != '/') p++;
        size_t n = (size_t)(p - start);
        if (n == 2 && start[0] == '.' && start[1] == '.') return -1;
        if (n > 0 && !(n == 1 && start[0] == '.')) count++;
    }
    return count;
}

// Removes `name` inside the directory `dir_fd`. Every step is relative to an open directory and
// opens with O_NOFOLLOW, so a link swapped in for a directory during the walk is not followed.
int32_t remove_at(int dir_fd, const char* name, int32_t depth) {
    struct stat st;
    if (fstatat(dir_fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return -1;
    if (!S_ISDIR(st.st_mode)) return unlinkat(dir_fd, name, 0);
    if (depth > MAX_DEPTH) return refuse(ELOOP);
    int fd = open_at_retry(dir_fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (fd < 0) return -1;
    DIR* dir = fdopendir(fd);
    if (!dir) {
        close_keeping_errno(fd);
        return -1;
    }
    while (struct dirent* entry = readdir(dir)) {
        if (is_dot_or_dotdot(entry->d_name)) continue;
        if (remove_at(dirfd(dir), entry->d_name, depth + 1) != 0) {
            int saved = errno;
            closedir(dir);
            errno = saved;
            return -1;
        }
    }
    closedir(dir);
    return unlinkat(dir_fd, name, AT_REMOVEDIR);
}

// ---- copy_tree -----------------------------------------------------------------------------

struct TreeCopy {
    char from[PATH_BYTES];
    char to[PATH_BYTES];
    dev_t target_dev = 0;  // the target's root, so that a target inside the source is not copied
    ino_t target_ino = 0;
    bool target_known = false;
};

bool push_name(char* path, size_t* length, const char* name) {
    size_t n = strlen(name);
    if (*length + 1 + n >= PATH_BYTES) return false;
    path[*length] = '/';
    memcpy(path + *length + 1, name, n + 1);
    *length += 1 + n;
    return true;
}

int32_t copy_node(TreeCopy& copy, size_t from_length, size_t to_length, int32_t depth) {
    struct stat st;
    if (lstat(copy.from, &st) != 0) return -1;
    mode_t bits = st.st_mode & 07777;
    if (S_ISREG(st.st_mode)) {
        if (nolt_fs_copy_file(copy.from, copy.to) != 0) return -1;
        return chmod(copy.to, bits);
    }
    if (S_ISLNK(st.st_mode)) return nolt_fs_copy_symlink(copy.from, copy.to);
    if (!S_ISDIR(st.st_mode)) return 0;

    if (copy.target_known && st.st_dev == copy.target_dev && st.st_ino == copy.target_ino) return 0;
    if (depth > MAX_DEPTH) return refuse(ELOOP);
    // Made writable for the copy; the source's bits go on once the entries are in.
    bool made = mkdir(copy.to, 0700) == 0;
    if (!made && !(errno == EEXIST && nolt_stat_isdir(copy.to))) return -1;
    if (!copy.target_known) {
        struct stat target;
        if (stat(copy.to, &target) != 0) return -1;
        copy.target_dev = target.st_dev;
        copy.target_ino = target.st_ino;
        copy.target_known = true;
    }
    DIR* dir = opendir(copy.from);
    if (!dir) return -1;
    int32_t rc = 0;
    while (struct dirent* entry = readdir(dir)) {
        if (is_dot_or_dotdot(entry->d_name)) continue;
        size_t from_next = from_length, to_next = to_length;
        if (!push_name(copy.from, &from_next, entry->d_name) || !push_name(copy.to, &to_next, entry->d_name)) {
            rc = refuse(ENAMETOOLONG);
        } else {
            rc = copy_node(copy, from_next, to_next, depth + 1);
        }
        copy.from[from_length] = '\0';
        copy.to[to_length] = '\0';
        if (rc != 0) break;
    }
    int saved = errno;
    closedir(dir);
    errno = saved;
    if (rc != 0) return -1;
    return made ? chmod(copy.to, bits) : 0;
}

// ---- names ---------------------------------------------------------------------------------

char* user_name_of(int64_t uid) {
    struct passwd entry, *found = nullptr;
    if (uid < 0 || getpwuid_r((uid_t)uid, &entry, db_buffer, sizeof db_buffer, &found) != 0 || !found)
        return nolt_string_empty();
    return managed_copy(found->pw_name, NAME_BYTES - 1);
}

char* group_name_of(int64_t gid) {
    struct group entry, *found = nullptr;
    if (gid < 0 || getgrgid_r((gid_t)gid, &entry, db_buffer, sizeof db_buffer, &found) != 0 || !found)
        return nolt_string_empty();
    return managed_copy(found->gr_name, NAME_BYTES - 1);
}

}  // namespace

extern "C" {

int32_t nolt_mkdir(const char* path, int32_t mode) { return path ? mkdir(path, (mode_t)mode) : refuse(EINVAL); }
int32_t nolt_rmdir(const char* path) { return path ? rmdir(path) : refuse(EINVAL); }
int32_t nolt_chdir(const char* path) { return path ? chdir(path) : refuse(EINVAL); }
int32_t nolt_access(const char* path, int32_t mode) { return path ? access(path, mode) : refuse(EINVAL); }
int32_t nolt_umask(int32_t mask) { return (int32_t)umask((mode_t)mask); }
int32_t nolt_F_OK(void) { return F_OK; }
int32_t nolt_R_OK(void) { return R_OK; }
int32_t nolt_W_OK(void) { return W_OK; }
int32_t nolt_X_OK(void) { return X_OK; }

char* nolt_getcwd(char* buffer, int64_t size) {
    if (!buffer || size < 1) {
        errno = EINVAL;
        return nullptr;
    }
    return getcwd(buffer, (size_t)size);
}

int32_t nolt_getcwd_safe(char* text, int64_t size) {
    if (!text) return 0;
    if (nolt_string_is_literal(text)) nolt_runtime_error("getcwd_safe on a string literal");
    int64_t room = room_in(text, size);
    if (room < 1 || !getcwd(text, (size_t)room)) {
        set_text_length(text, 0);
        return 0;
    }
    set_text_length(text, (int32_t)strlen(text));
    return 1;
}

int32_t nolt_stat_isdir(const char* path) { return has_type(path, S_IFDIR); }
int32_t nolt_fs_is_file(const char* path) { return has_type(path, S_IFREG); }
int32_t nolt_fs_is_pipe(const char* path) { return has_type(path, S_IFIFO); }
int32_t nolt_fs_is_socket(const char* path) { return has_type(path, S_IFSOCK); }
int32_t nolt_fs_is_block_device(const char* path) { return has_type(path, S_IFBLK); }
int32_t nolt_fs_is_char_device(const char* path) { return has_type(path, S_IFCHR); }
int32_t nolt_fs_is_symlink(const char* path) { return has_type(path, S_IFLNK, false); }

int32_t nolt_fs_can_read(const char* path) {
    if (!path) return 0;
    int fd = open_retry(path, O_RDONLY | O_NONBLOCK);
    if (fd < 0) return 0;
    close(fd);
    return 1;
}

int64_t nolt_fs_file_size(const char* path) {
    struct stat st;
    return stat_of(path, &st, true) ? (int64_t)st.st_size : -1;
}

int64_t nolt_fs_file_mtime(const char* path) {
    struct stat st;
    return stat_of(path, &st, true) ? (int64_t)st.st_mtime : -1;
}

int32_t nolt_fs_file_mode(const char* path) {
    struct stat st;
    return stat_of(path, &st, true) ? (int32_t)(st.st_mode & 07777) : -1;
}

int64_t nolt_fs_file_uid(const char* path) {
    struct stat st;
    return stat_of(path, &st, true) ? (int64_t)st.st_uid : -1;
}

int64_t nolt_fs_file_gid(const char* path) {
    struct stat st;
    return stat_of(path, &st, true) ? (int64_t)st.st_gid : -1;
}

DIR* nolt_opendir(const char* path) {
    if (!path) {
        errno = EINVAL;
        return nullptr;
    }
    return opendir(path);
}

int32_t nolt_closedir(DIR* handle) { return handle ? closedir(handle) : refuse(EINVAL); }

int32_t nolt_opendir_valid(const char* path) {
    DIR* dir = nolt_opendir(path);
    if (!dir) return 0;
    closedir(dir);
    return 1;
}

int32_t nolt_readdir_name(DIR* handle, char* text, int64_t size) {
    if (!text) return 0;
    if (nolt_string_is_literal(text)) nolt_runtime_error("readdir_name on a string literal");
    int64_t room = room_in(text, size);
    struct dirent* entry = handle && room > 1 ? readdir(handle) : nullptr;
    if (!entry) {
        set_text_length(text, 0);
        return 0;
    }
    size_t n = strnlen(entry->d_name, (size_t)room - 1);
    memcpy(text, entry->d_name, n);
    set_text_length(text, (int32_t)n);
    return (int32_t)n;
}

char* nolt_getenv(const char* name) {
    const char* value = name ? getenv(name) : nullptr;
    return value ? nolt_string_dup_c(value) : nolt_string_empty();
}

int32_t nolt_getenv_exists(const char* name) { return name && getenv(name) ? 1 : 0; }
int32_t nolt_setenv(const char* name, const char* value) {
    return name && value ? setenv(name, value, 1) : refuse(EINVAL);
}
int32_t nolt_unsetenv(const char* name) { return name ? unsetenv(name) : refuse(EINVAL); }

FILE* nolt_fopen(const char* path, const char* mode) {
    if (!path || !mode) {
        errno = EINVAL;
        return nullptr;
    }
    FILE* stream;
    do {
        stream = fopen(path, mode);
    } while (!stream && errno == EINTR);
    // A buffered flush that fails drops the buffer, so a write cut short by a signal could not be
    // resumed. Unbuffered, every write reaches write(2), whose partial counts stdio reports.
    if (stream && strpbrk(mode, "wa+")) setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

int32_t nolt_fclose(FILE* stream) {
    if (!stream) return refuse(EINVAL);
    bool flushed = fflush(stream) == 0;
    bool closed = fclose(stream) == 0;
    return flushed && closed ? 0 : -1;
}

int32_t nolt_fseek(FILE* stream, int32_t offset, int32_t whence) {
    return stream ? fseek(stream, offset, whence) : refuse(EINVAL);
}

int32_t nolt_ftell(FILE* stream) {
    if (!stream) return refuse(EINVAL);
    long position = ftell(stream);
    if (position > INT32_MAX) return refuse(EOVERFLOW);
    return position < 0 ? -1 : (int32_t)position;
}

int32_t nolt_SEEK_SET(void) { return SEEK_SET; }
int32_t nolt_SEEK_END(void) { return SEEK_END; }

int64_t nolt_fread(void* buffer, int64_t size, int64_t count, FILE* stream) {
    if (!buffer || !stream || size <= 0 || count <= 0 || count > INT64_MAX / size) return 0;
    size_t total = (size_t)(size * count), done = 0;
    while (done < total) {
        done += fread(static_cast<char*>(buffer) + done, 1, total - done, stream);
        if (done == total || !ferror(stream) || errno != EINTR) break;
        clearerr(stream);
    }
    return (int64_t)(done / (size_t)size);
}

int64_t nolt_fwrite(const void* buffer, int64_t size, int64_t count, FILE* stream) {
    if (!buffer || !stream || size <= 0 || count <= 0 || count > INT64_MAX / size) return 0;
    size_t total = (size_t)(size * count), done = 0;
    while (done < total) {
        done += fwrite(static_cast<const char*>(buffer) + done, 1, total - done, stream);
        if (done == total || !ferror(stream) || errno != EINTR) break;
        clearerr(stream);
    }
    return (int64_t)(done / (size_t)size);
}

int32_t nolt_fputs(const char* text, FILE* stream) {
    return text && stream ? fputs(text, stream) : refuse(EINVAL);
}

int32_t nolt_ferror(FILE* stream) { return stream ? ferror(stream) : 1; }

int32_t nolt_fs_chmod(const char* path, int32_t mode) { return path ? chmod(path, (mode_t)mode) : refuse(EINVAL); }
int32_t nolt_fs_chown(const char* path, int64_t uid, int64_t gid) {
    return path ? chown(path, (uid_t)uid, (gid_t)gid) : refuse(EINVAL);
}
int32_t nolt_fs_lchown(const char* path, int64_t uid, int64_t gid) {
    return path ? lchown(path, (uid_t)uid, (gid_t)gid) : refuse(EINVAL);
}
int32_t nolt_fs_symlink(const char* target, const char* link_path) {
    return target && link_path ? symlink(target, link_path) : refuse(EINVAL);
}
int32_t nolt_fs_link(const char* existing, const char* new_path) {
    return existing && new_path ? link(existing, new_path) : refuse(EINVAL);
}
int32_t nolt_fs_unlink(const char* path) { return path ? unlink(path) : refuse(EINVAL); }
int32_t nolt_fs_rename(const char* from, const char* to) { return from && to ? rename(from, to) : refuse(EINVAL); }

int32_t nolt_fs_S_IRUSR(void) { return S_IRUSR; }
int32_t nolt_fs_S_IWUSR(void) { return S_IWUSR; }
int32_t nolt_fs_S_IXUSR(void) { return S_IXUSR; }
int32_t nolt_fs_S_IRGRP(void) { return S_IRGRP; }
int32_t nolt_fs_S_IWGRP(void) { return S_IWGRP; }
int32_t nolt_fs_S_IXGRP(void) { return S_IXGRP; }
int32_t nolt_fs_S_IROTH(void) { return S_IROTH; }
int32_t nolt_fs_S_IWOTH(void) { return S_IWOTH; }
int32_t nolt_fs_S_IXOTH(void) { return S_IXOTH; }
int32_t nolt_fs_S_ISUID(void) { return S_ISUID; }
int32_t nolt_fs_S_ISGID(void) { return S_ISGID; }
int32_t nolt_fs_S_ISVTX(void) { return S_ISVTX; }

int32_t nolt_fs_readlink(const char* path, char* buffer, int64_t size) {
    if (!path || !buffer || size < 1) return refuse(EINVAL);
    ssize_t n = readlink(path, buffer, (size_t)(size - 1));
    if (n < 0) return -1;
    buffer[n] = '\0';
    return (int32_t)n;
}

int32_t nolt_fs_copy_file(const char* from, const char* to) {
    if (!from || !to) return refuse(EINVAL);
    // Truncating the target first would destroy a source that is the same file.
    struct stat source, target;
    if (stat(from, &source) == 0 && stat(to, &target) == 0 && source.st_dev == target.st_dev &&
        source.st_ino == target.st_ino)
        return refuse(EINVAL);
    int in = open_retry(from, O_RDONLY);
    if (in < 0) return -1;
    int out = open_retry(to, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (out < 0) {
        close_keeping_errno(in);
        return -1;
    }
    char buffer[COPY_BUFFER];
    for (;;) {
        int64_t got = nolt_fd_read(in, buffer, sizeof buffer);
        if (got == 0) break;
        if (got < 0 || !write_all(out, buffer, (size_t)got)) {
            close_keeping_errno(in);
            close_keeping_errno(out);
            return -1;
        }
    }
    close(in);
    return close(out) == 0 ? 0 : -1;
}

int32_t nolt_fs_copy_file_preserve(const char* from, const char* to) {
    if (nolt_fs_copy_file(from, to) != 0) return -1;
    int32_t bits = nolt_fs_file_mode(from);
    return bits < 0 ? -1 : chmod(to, (mode_t)bits);
}

int32_t nolt_fs_copy_symlink(const char* from, const char* to) {
    if (!from || !to) return refuse(EINVAL);
    char target[PATH_BYTES];
    ssize_t n = readlink(from, target, sizeof target);
    if (n < 0) return -1;
    if ((size_t)n >= sizeof target) return refuse(ENAMETOOLONG);
    target[n] = '\0';
    return symlink(target, to);
}

int32_t nolt_fs_fsync(const char* path) {
    if (!path) return refuse(EINVAL);
    return fsync_descriptor(open_retry(path, O_RDWR));
}

int32_t nolt_fs_fsync_parent(const char* path) {
    if (!path || !*path) return refuse(EINVAL);
    const char* slash = strrchr(path, '/');
    char parent[PATH_BYTES];
    if (!slash) {
        strcpy(parent, ".");
    } else if (slash == path) {
        strcpy(parent, "/");
    } else {
        size_t n = (size_t)(slash - path);
        if (n >= sizeof parent) return refuse(ENAMETOOLONG);
        memcpy(parent, path, n);
        parent[n] = '\0';
    }
    return fsync_descriptor(open_retry(parent, O_RDONLY));
}

int32_t nolt_fs_remove_tree(const char* path) {
    if (!path || removable_components(path) < 2) return refuse(EINVAL);
    // A trailing slash would make the last component's link be followed.
    size_t n = strlen(path);
    while (n > 1 && path[n - 1] == '/') n--;
    if (n >= PATH_BYTES) return refuse(ENAMETOOLONG);
    char top[PATH_BYTES];
    memcpy(top, path, n);
    top[n] = '\0';
    return remove_at(AT_FDCWD, top, 0);
}

int32_t nolt_fs_copy_tree(const char* from, const char* to) {
    if (!from || !to || !*from || !*to) return refuse(EINVAL);
    size_t from_length = strlen(from), to_length = strlen(to);
    if (from_length >= PATH_BYTES || to_length >= PATH_BYTES) return refuse(ENAMETOOLONG);
    TreeCopy copy;
    memcpy(copy.from, from, from_length + 1);
    memcpy(copy.to, to, to_length + 1);
    return copy_node(copy, from_length, to_length, 0);
}

char* nolt_fs_uid_name(int64_t uid) { return user_name_of(uid); }
char* nolt_fs_gid_name(int64_t gid) { return group_name_of(gid); }
char* nolt_fs_file_uid_name(const char* path) {
    int64_t uid = nolt_fs_file_uid(path);
    return uid < 0 ? nolt_string_empty() : user_name_of(uid);
}
char* nolt_fs_file_gid_name(const char* path) {
    int64_t gid = nolt_fs_file_gid(path);
    return gid < 0 ? nolt_string_empty() : group_name_of(gid);
}

char* nolt_fs_user_home(const char* name) {
    struct passwd entry, *found = nullptr;
    if (!name || !*name || getpwnam_r(name, &entry, db_buffer, sizeof db_buffer, &found) != 0 || !found)
        return nolt_string_empty();
    return managed_copy(found->pw_dir, PATH_BYTES - 1);
}

int32_t nolt_getch(void) {
    struct termios saved;
    bool terminal = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        struct termios raw = saved;
        raw.c_lflag &= ~(tcflag_t)(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        while (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0 && errno == EINTR) {
        }
    }
    unsigned char byte = 0;
    int64_t got = nolt_fd_read(STDIN_FILENO, &byte, 1);
    if (terminal) {
        while (tcsetattr(STDIN_FILENO, TCSANOW, &saved) != 0 && errno == EINTR) {
        }
    }
    return got == 1 ? (int32_t)byte : -1;
}

}  // extern "C"
