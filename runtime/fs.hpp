// File layer: thin calls over POSIX for paths, directories, streams, the environment and the
// password database. Paths are zero-terminated byte strings. Unless noted, a call returns what the
// system call returned (0 or -1 with errno set, for most). Blocking calls retry on EINTR.
//
// Calls that return a text return a managed one: a fresh copy in the thread's in-flight slot, or
// the shared empty text; the caller roots it before it allocates again.
#pragma once
#include <dirent.h>
#include <stdint.h>
#include <stdio.h>

extern "C" {

int32_t nolt_mkdir(const char* path, int32_t mode);
int32_t nolt_rmdir(const char* path);
int32_t nolt_chdir(const char* path);
int32_t nolt_access(const char* path, int32_t mode);
int32_t nolt_umask(int32_t mask);  // the previous mask
int32_t nolt_F_OK(void);
int32_t nolt_R_OK(void);
int32_t nolt_W_OK(void);
int32_t nolt_X_OK(void);

char* nolt_getcwd(char* buffer, int64_t size);
// The working directory into the managed text `text`, at most `size` bytes with the zero byte
// (and never more than its capacity); sets its length. 1, or 0 on failure. Stops with a run-time
// error on a literal.
int32_t nolt_getcwd_safe(char* text, int64_t size);

// 1 if stat (lstat for the link test) succeeds and the type matches, else 0.
int32_t nolt_stat_isdir(const char* path);
int32_t nolt_fs_is_file(const char* path);
int32_t nolt_fs_is_pipe(const char* path);
int32_t nolt_fs_is_socket(const char* path);
int32_t nolt_fs_is_block_device(const char* path);
int32_t nolt_fs_is_char_device(const char* path);
int32_t nolt_fs_is_symlink(const char* path);
// 1 if the path opens for reading. The open does not block on a FIFO.
int32_t nolt_fs_can_read(const char* path);

// By stat, or -1.
int64_t nolt_fs_file_size(const char* path);
int64_t nolt_fs_file_mtime(const char* path);
int32_t nolt_fs_file_mode(const char* path);  // the low 12 bits
int64_t nolt_fs_file_uid(const char* path);
int64_t nolt_fs_file_gid(const char* path);

DIR* nolt_opendir(const char* path);
int32_t nolt_closedir(DIR* handle);
int32_t nolt_opendir_valid(const char* path);  // opens and closes at once: 1 or 0
// The next entry's name, "." and ".." included, into the managed text `text`, cut to fit `size`
// bytes with the zero byte (and its capacity); sets its length. Returns the length, 0 at the end.
// Stops with a run-time error on a literal.
int32_t nolt_readdir_name(DIR* handle, char* text, int64_t size);

// A copy of the value, or the empty text if unset.
char* nolt_getenv(const char* name);
int32_t nolt_getenv_exists(const char* name);
int32_t nolt_setenv(const char* name, const char* value);  // overwrites
int32_t nolt_unsetenv(const char* name);

// A stream opened for writing is unbuffered, so that nolt_fwrite can resume after EINTR without
// losing bytes.
FILE* nolt_fopen(const char* path, const char* mode);
// Flushes and closes: 0, or -1 if the flush or the close failed. Either way the stream is gone.
int32_t nolt_fclose(FILE* stream);
int32_t nolt_fseek(FILE* stream, int32_t offset, int32_t whence);
int32_t nolt_ftell(FILE* stream);  // -1 on failure or past the 32-bit range
int32_t nolt_SEEK_SET(void);
int32_t nolt_SEEK_END(void);
// Both go on after EINTR until the whole of size * count or a real failure; whole items.
int64_t nolt_fread(void* buffer, int64_t size, int64_t count, FILE* stream);
int64_t nolt_fwrite(const void* buffer, int64_t size, int64_t count, FILE* stream);
int32_t nolt_fputs(const char* text, FILE* stream);
int32_t nolt_ferror(FILE* stream);  // non-zero once a read or write on the stream has failed

int32_t nolt_fs_chmod(const char* path, int32_t mode);
int32_t nolt_fs_chown(const char* path, int64_t uid, int64_t gid);
int32_t nolt_fs_lchown(const char* path, int64_t uid, int64_t gid);
int32_t nolt_fs_symlink(const char* target, const char* link_path);
int32_t nolt_fs_link(const char* existing, const char* new_path);
int32_t nolt_fs_unlink(const char* path);
int32_t nolt_fs_rename(const char* from, const char* to);

int32_t nolt_fs_S_IRUSR(void);
int32_t nolt_fs_S_IWUSR(void);
int32_t nolt_fs_S_IXUSR(void);
int32_t nolt_fs_S_IRGRP(void);
int32_t nolt_fs_S_IWGRP(void);
int32_t nolt_fs_S_IXGRP(void);
int32_t nolt_fs_S_IROTH(void);
int32_t nolt_fs_S_IWOTH(void);
int32_t nolt_fs_S_IXOTH(void);
int32_t nolt_fs_S_ISUID(void);
int32_t nolt_fs_S_ISGID(void);
int32_t nolt_fs_S_ISVTX(void);

// The link's target with a zero byte behind it, cut to size - 1 bytes; the length, or -1.
int32_t nolt_fs_readlink(const char* path, char* buffer, int64_t size);
// Copies the bytes of a file into a created or truncated target of mode 0666 (before the umask):
// 0 or -1. A target that is the source itself is refused with EINVAL before anything is touched.
int32_t nolt_fs_copy_file(const char* from, const char* to);
// The same, then the source's permission bits on the target.
int32_t nolt_fs_copy_file_preserve(const char* from, const char* to);
// A new link with the same target (at most 4095 bytes): 0 or -1.
int32_t nolt_fs_copy_symlink(const char* from, const char* to);
// Opens the path (read-write) or its parent directory (read-only), fsync, closes: 0 or -1. The
// parent of a path without "/" is ".", of "/x" it is "/"; an empty path or a parent of more than
// 4095 bytes gives -1.
int32_t nolt_fs_fsync(const char* path);
int32_t nolt_fs_fsync_parent(const char* path);

// Removes a tree depth first without following symbolic links: 0, or -1 at the first failure or
// beyond 256 levels. Refused with EINVAL: null, "", and any path of fewer than two components
// other than "." ("/", "/tmp", "tmp", "./tmp"). It also refuses any path with a ".." segment on
// purpose, because such a path can climb out of the directory it seems to name ("a/../../x" has
// three components yet removes a sibling of the current directory), which a count of components
// cannot guard against.
int32_t nolt_fs_remove_tree(const char* path);
// Copies a tree: directories with their permission bits (an existing target directory is
// accepted), regular files with theirs, symbolic links recreated, anything else skipped. 0, or -1
// at the first failure or beyond 256 levels.
int32_t nolt_fs_copy_tree(const char* from, const char* to);

// Names from the password and group databases (at most 255 bytes), or the empty text.
char* nolt_fs_uid_name(int64_t uid);
char* nolt_fs_gid_name(int64_t gid);
char* nolt_fs_file_uid_name(const char* path);
char* nolt_fs_file_gid_name(const char* path);
// The user's home directory (at most 4095 bytes); empty for an empty name or an unknown user.
char* nolt_fs_user_home(const char* name);

// One byte from standard input, with ICANON and ECHO off for that read when it is a terminal;
// -1 at the end or on failure.
int32_t nolt_getch(void);

}  // extern "C"
