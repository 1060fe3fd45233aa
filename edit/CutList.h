// An edit as other programs describe it: clips and black that meet at cuts, and seams that reach from the cut
// into both sides, over pictures beyond the trims. Lengths and cuts are the same in both views;
// docs/edit-exchange.md has the arithmetic. No file format is known here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "edit/Edit.h"
#include "edit/Request.h"

namespace tumblewash::edit {

/// A seam around a cut, in frames.
struct CutSeam {
    std::string effect;       ///< an id of the catalogue; empty: an effect of another program
    bool halves = false;      ///< takes its frames from within the clips and needs nothing beyond the cut
    std::int64_t before = 0;  ///< frames before the cut: the in offset
    std::int64_t after = 0;   ///< frames after the cut: the out offset
    std::optional<HYPluginDirection> direction;
    std::optional<std::uint32_t> seed;
    std::optional<host::AudioPolicy> sound;
    std::int64_t frames() const noexcept { return before + after; }
};

/// What lies between two cuts.
struct CutClip {
    std::string name;  ///< as messages call it
    std::string file;  ///< empty: black
    bool still = false;
    bool sounds = false;  ///< the file has sound
    std::int64_t start =
        0;  ///< the number that other programs give the file's first picture: its start time code
    std::int64_t in = 0;   ///< first frame, counted in the file from 0
    std::int64_t out = 0;  ///< the frame after the last one
    std::int64_t frames() const noexcept { return out - in; }
};

/// A whole edit.
struct CutList {
    media::FrameRate rate{25, 1};
    std::string title;
    std::vector<CutClip> clips;
    std::vector<std::optional<CutSeam>> seams;  ///< between the clips, one fewer; nothing: a plain cut
    std::optional<CutSeam> opening;             ///< its frames count as `after`
    std::optional<CutSeam> closing;             ///< its frames count as `before`
    /// Frames of the whole.
    std::int64_t frames() const noexcept;
};

/// What an edit must know of a file to take it from a cut list.
struct FileFacts {
    bool still = false;
    std::int64_t frames = 0;  ///< at the rate asked for; of a still nothing
};

/// Asks for a file's facts. Throws MediaError for files that cannot be read.
using AskFile = std::function<FileFacts(const std::string& file, media::FrameRate rate)>;

/// The settled edit as a cut list.
CutList cutListOf(const Edit& edit, const MovieRequest& request);

/// The edit of a cut list. Seams are limited to the pictures that lie beyond the trims, and made even; cuts
/// and the total length stay. Each change is one line in `remarks`. Throws Refusal (BadRequest) for trims
/// that reach beyond a file.
Edit editOf(const CutList& list, const AskFile& ask, std::vector<std::string>& remarks);

}  // namespace tumblewash::edit
