// A fresh directory under /tmp for one test, removed with everything in it at the end, and a
// fresh home directory.
#pragma once
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test_support {

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/nolt-test-XXXXXX";
        if (mkdtemp(pattern)) path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        // Give back every permission a test took away, so that the removal can get in.
        for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored))
            if (!it->is_symlink()) chmod(it->path().c_str(), 0700);
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    bool ok() const { return !path_.empty(); }
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Points HOME at a fresh temporary directory while the object lives, so that nothing a test
// saves under ~/.config reaches the real one.
class TempHome : public TempDir {
public:
    TempHome() : saved_(getenv("HOME") ? getenv("HOME") : "") { setenv("HOME", path().c_str(), 1); }
    ~TempHome() { setenv("HOME", saved_.c_str(), 1); }
    std::string config(const std::string& name) const { return path() + "/.config/noltide/" + name; }

private:
    std::string saved_;
};

// Writes a file, making its parent directories.
inline void write_bytes(const std::string& path, const std::string& bytes) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

// Root passes every permission check, so tests of refused access cannot see a refusal.
inline bool permissions_bypassed() { return geteuid() == 0; }

}  // namespace test_support
