// Capture: the library's diagnostic text as a string, for tests of what is printed.
#pragma once

#include <cstdio>
#include <string>

#include "ImageLib/source/SICommon.h"

namespace tumblewash::imagelib {

/// Collects all diagnostic text while it lives; afterwards text is discarded.
class Capture {
  public:
    Capture() : file_(std::tmpfile()) { SICommon_H::traceto(file_); }
    ~Capture() {
        SICommon_H::traceto(nullptr);
        std::fclose(file_);
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Everything printed so far.
    std::string text() const {
        std::fflush(file_);
        std::string s(static_cast<std::size_t>(std::ftell(file_)), '\0');
        std::rewind(file_);
        const std::size_t got = std::fread(s.data(), 1, s.size(), file_);
        s.resize(got);
        return s;
    }

  private:
    std::FILE* file_;
};

/// What `f` prints.
template <class F>
std::string printed(F f) {
    const Capture capture;
    f();
    return capture.text();
}

}  // namespace tumblewash::imagelib
