// libobs with this build's module in it, on an X server without a screen and with graphics in software:
// scenes that are pictures, a transition between them, and what the stream would show.
#pragma once

#include <obs.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tumblewash::test {

using Bytes = std::vector<std::uint8_t>;

/// The size of everything, and of the canvas.
inline constexpr int kObsWidth = 160;
/// Rows.
inline constexpr int kObsHeight = 96;

/// Started once for a process; throws std::runtime_error where X or libobs does not start.
class ObsHost {
  public:
    ObsHost();
    ~ObsHost();
    ObsHost(const ObsHost&) = delete;
    ObsHost& operator=(const ObsHost&) = delete;

    /// A source that shows these pixels: red, green, blue, alpha, premultiplied. Given back with
    /// obs_source_release.
    obs_source_t* picture(const Bytes& rgba);
    /// What a source shows, pixels as above.
    Bytes shown(obs_source_t* source);
    /// What failed by the log of libobs and of the module so far, a line each; pictures that came late do not
    /// count.
    [[nodiscard]] std::string complaints() const;

  private:
    int server_ = 0;  // process id
    void* display_ = nullptr;
    gs_texrender_t* target_ = nullptr;
    gs_stagesurf_t* stage_ = nullptr;
};

}  // namespace tumblewash::test
