#include "stdlib/io/file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "stdlib/io/dir.hpp"
#include "tests/support/temp_dir.hpp"

using namespace stdlib;
using test_support::permissions_bypassed;
using test_support::read_bytes;
using test_support::TempDir;
using test_support::write_bytes;

namespace {

class Files : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.ok()); }
    string at(const std::string& name) const { return from_c((dir / name).c_str()); }
    static std::string s(const string& text) { return std::string(c_str(text), (size_t)length(text)); }

    template <class T>
    static void expect_error(const Result<T, Error>& result, ErrorKind kind, const std::string& message) {
        ASSERT_TRUE(result.is_err());
        EXPECT_EQ(result.unwrap_err()->kind, kind) << message;
        EXPECT_EQ(s(result.unwrap_err()->message), message);
    }

    TempDir dir;
};

TEST_F(Files, ReadsGiveEveryByteOrTheKindOfFailure) {
    std::string bytes("a\0b\xff\n", 5);
    ASSERT_TRUE(writeFile(at("data"), from_bytes(bytes.data(), 5)).unwrap_ok());
    EXPECT_EQ(read_bytes(dir / "data"), bytes);
    EXPECT_EQ(s(readFile(at("data")).unwrap_ok()), bytes);

    ASSERT_TRUE(writeFile(at("data"), "x"_t).is_ok());  // replaces, shorter
    EXPECT_EQ(s(readFile(at("data")).unwrap_ok()), "x");

    write_bytes(dir / "empty", "");
    EXPECT_EQ(readFile(at("empty")).unwrap_ok().get(), empty_string().get());

    expect_error(readFile(at("missing")), ErrorKind::NotFound, "failed to read file: " + dir / "missing");
    expect_error(readFile(from_c(dir.path().c_str())), ErrorKind::IoError, "failed to read file: " + dir.path());

    // A size past the 32-bit range is refused, not wrapped into a small allocation.
    int fd = open((dir / "huge").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, (off_t)1 << 31), 0);
    close(fd);
    expect_error(readFile(at("huge")), ErrorKind::IoError, "failed to read file: " + dir / "huge");

    EXPECT_TRUE(fileExists(from_c(dir.path().c_str())) && !fileExists(at("missing")));
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    EXPECT_TRUE(fileExists(at("fifo")));  // and does not wait for a writer

    if (permissions_bypassed()) return;  // root reads any file
    write_bytes(dir / "secret", "s");
    ASSERT_EQ(chmod((dir / "secret").c_str(), 0), 0);
    EXPECT_FALSE(fileExists(at("secret")));
    expect_error(readFile(at("secret")), ErrorKind::IoError, "failed to read file: " + dir / "secret");
}

TEST_F(Files, FailedWritesAreIoErrors) {
    expect_error(writeFile(at("no/such/file"), "x"_t), ErrorKind::IoError, "failed to write file: " + dir / "no/such/file");
    if (access("/dev/full", W_OK) == 0)
        expect_error(writeFile("/dev/full"_t, "bytes"_t), ErrorKind::IoError, "short write to file: /dev/full");
    ASSERT_TRUE(writeFile(at("zero"), ""_t).is_ok());
    EXPECT_TRUE(is_file(at("zero")));
}

TEST_F(Files, CreateDirKindsAndCreateDirAll) {
    EXPECT_TRUE(create_dir(at("d")).unwrap_ok());
    struct stat st;
    mode_t mask = umask(0);
    umask(mask);
    EXPECT_TRUE(stat((dir / "d").c_str(), &st) == 0 && (st.st_mode & 0777) == (0755u & ~mask));
    expect_error(create_dir(at("d")), ErrorKind::AlreadyExists, "failed to create directory: " + dir / "d");
    expect_error(create_dir(at("x/y")), ErrorKind::NotFound, "failed to create directory: " + dir / "x/y");
    EXPECT_TRUE(create_dir_all(at("d")).unwrap_ok());

    EXPECT_TRUE(create_dir_all(at("p/q/r")).unwrap_ok() && create_dir_all(at("s/t/")).unwrap_ok());
    EXPECT_TRUE(dir_exists(at("p/q/r")) && dir_exists(at("s/t")));

    write_bytes(dir / "file", "f");
    EXPECT_FALSE(dir_exists(at("file")));
    expect_error(create_dir_all(at("file/sub/deeper")), ErrorKind::IoError,
                 "failed to create directory tree: " + dir / "file/sub/deeper");

    EXPECT_EQ(s(parent_dir(at("a/b"))), dir / "a");
    EXPECT_EQ(s(parent_dir("/a"_t)) + s(parent_dir("a"_t)), "");

    if (permissions_bypassed()) return;
    ASSERT_EQ(chmod((dir / "d").c_str(), 0555), 0);
    expect_error(create_dir(at("d/e")), ErrorKind::PermissionDenied, "failed to create directory: " + dir / "d/e");
    expect_error(create_dir_all(at("d/e")), ErrorKind::PermissionDenied,
                 "failed to create directory tree: " + dir / "d/e");
}

TEST_F(Files, ListDirAndTheWorkingDirectory) {
    ASSERT_TRUE(create_dir(at("empty")).is_ok());
    EXPECT_EQ(runtime::length(list_dir(at("empty")).unwrap_ok()), 0);
    expect_error(list_dir(at("missing")), ErrorKind::NotFound, "failed to open directory: " + dir / "missing");
    write_bytes(dir / "empty/f", "");
    expect_error(list_dir(at("empty/f")), ErrorKind::NotFound, "failed to open directory: " + dir / "empty/f");

    std::string longest(255, 'L');
    write_bytes(dir / "empty/.hidden", "");
    write_bytes(dir / ("empty/" + longest), "");
    string_array names = list_dir(at("empty")).unwrap_ok();
    std::vector<std::string> got;
    for (int32_t i = 0; i < runtime::length(names); i++) got.push_back(c_str(names[i]));
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (std::vector<std::string>{".hidden", longest, "f"}));

    ASSERT_TRUE(change_dir(at("empty")).unwrap_ok());
    EXPECT_EQ(s(current_dir().unwrap_ok()), dir / "empty");
    expect_error(change_dir("missing"_t), ErrorKind::NotFound, "failed to change directory: missing");
    expect_error(change_dir("f"_t), ErrorKind::PermissionDenied, "failed to change directory: f");

    if (permissions_bypassed()) return;
    ASSERT_EQ(chmod((dir / "empty").c_str(), 0), 0);
    expect_error(list_dir(at("empty")), ErrorKind::IoError, "failed to open directory: " + dir / "empty");
}

}  // namespace
