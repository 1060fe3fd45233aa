// The sound of a result on its way to whoever writes it: frames come in order, mixed; what belongs to the
// whole is done here: short fades at plain cuts, music and the limiter. It reads no clips and knows no
// transitions.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "edit/Limiter.h"
#include "edit/Music.h"
#include "edit/Request.h"

namespace tumblewash::edit {

class Soundtrack {
  public:
    /// What takes finished samples, interleaved; never none.
    /// `own` is true as long as all samples so far are those of the clip that the movie begins with.
    using Sink = std::function<void(std::span<const float> interleaved, bool own)>;

    /// The request must outlive the object. Throws MediaError when the music cannot be read.
    Soundtrack(const MovieRequest& request, Sink sink);

    /// The sound of one frame of the plan, which is of its own length; frames come in order without gaps,
    /// from the request's first on.
    void add(std::int64_t frame, std::vector<float> samples);
    /// All frames are in.
    void finish();

    /// What was lost of the music, one line each.
    std::vector<std::string> warnings() const;
    const LimiterTold& told() const noexcept { return limiter_.told(); }

  private:
    void send();

    const MovieRequest& request_;
    Sink sink_;
    Limiter limiter_;
    std::optional<Music> music_;
    std::vector<float> limited_;
    std::int64_t own_ = 0;              // sample frames that nothing but the limiter changes
    std::int64_t sent_ = 0;             // sample frames
    std::set<std::int64_t> ending_;     // frames after which another clip's sound begins
    std::set<std::int64_t> beginning_;  // frames before which another clip's sound ended
};

}  // namespace tumblewash::edit
