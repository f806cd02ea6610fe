// Points HOME at a fresh temporary directory while the object lives, so that nothing a test
// saves under ~/.config reaches the real one.
#pragma once
#include <stdlib.h>

#include "tests/support/temp_dir.hpp"

namespace test_support {

class TempHome : public TempDir {
public:
    TempHome() : saved_(getenv("HOME") ? getenv("HOME") : "") { setenv("HOME", path().c_str(), 1); }
    ~TempHome() { setenv("HOME", saved_.c_str(), 1); }
    std::string config(const std::string& name) const { return path() + "/.config/noltide/" + name; }

private:
    std::string saved_;
};

}  // namespace test_support
