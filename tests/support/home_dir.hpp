// Points HOME at a fresh temporary directory for the life of the object, so that code writing
// under ~/.config never touches the real one.
#pragma once
#include <stdlib.h>

#include <optional>
#include <string>

#include "tests/support/temp_dir.hpp"

namespace test_support {

class TempHome : public TempDir {
public:
    TempHome() {
        if (const char* old = getenv("HOME")) saved_ = old;
        setenv("HOME", path().c_str(), 1);
    }
    ~TempHome() {
        if (saved_) setenv("HOME", saved_->c_str(), 1);
        else unsetenv("HOME");
    }
    std::string config(const std::string& name) const { return path() + "/.config/noltide/" + name; }

private:
    std::optional<std::string> saved_;
};

}  // namespace test_support
