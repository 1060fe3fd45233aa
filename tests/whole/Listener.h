// Listener: the lines that the library tells its log, for as long as it lives. One at a time.
#pragma once

#include <string>
#include <vector>

#include "ImageLib/source/LogHook.h"

namespace tumblewash::test {

class Listener {
  public:
    Listener() : before_(imagelib::setLogSink(hear)) { lines().clear(); }
    ~Listener() { imagelib::setLogSink(before_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    const std::vector<std::string>& heard() const { return lines(); }

  private:
    static std::vector<std::string>& lines() {
        static std::vector<std::string> all;
        return all;
    }
    static void hear(const char* line) { lines().emplace_back(line); }

    imagelib::LogSink before_;
};

}  // namespace tumblewash::test
