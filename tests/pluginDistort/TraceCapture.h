// Collects what the image library's diagnostic output says while an object of this class lives.
// Not the plug-in's log, which FakeHost records.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ImageLib/source/SICommon.h"

namespace tumblewash::test {

class TraceCapture {
  public:
    TraceCapture() : stream_(open_memstream(&text_, &size_)) { SICommon_H::traceto(stream_); }
    ~TraceCapture() {
        SICommon_H::traceto(nullptr);
        std::fclose(stream_);
        std::free(text_);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::string text() {
        std::fflush(stream_);
        return text_;
    }
    bool says(const std::string& line) { return text().find(line) != std::string::npos; }

  private:
    char* text_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* stream_;
};

}  // namespace tumblewash::test
