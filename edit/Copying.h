// Which frames of a settled edit are copied from their clips as they are coded, and which are encoded: around
// seams, at cuts that are no key frames, and everywhere when the clips do not allow copies. Decided from
// indexes of packets before anything is decoded or written; how copies are made is media's.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "edit/Edit.h"
#include "media/CopyPlan.h"

namespace tumblewash::edit {

struct MovieRequest;
struct RenderSettings;

/// Whether copies are to be made, as far as it shows before a clip is opened.
struct CopyWish {
    CopyBodies bodies = CopyBodies::automatic;
    bool asked = false;  ///< the run or the edit says so; else it is the program's own way
    std::string why;     ///< what the edit or the run asks for that copies cannot have; empty: nothing
    bool possible() const noexcept { return bodies != CopyBodies::never && why.empty(); }
};

/// Frames of the result, [first, end), that are copied; of one segment of the plan.
struct CopiedFrames {
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool holds(std::int64_t frame) const noexcept { return frame >= first && frame < end; }
};

/// What is copied of an edit.
struct Copying {
    std::vector<CopiedFrames> segments;  ///< of each segment of the plan; empty: nothing is copied
    std::vector<media::CopyRun> runs;    ///< of what is rendered, in order
    std::int64_t copied = 0;             ///< frames in all
    std::int64_t encoded = 0;
    double seconds = -1;      ///< that the pictures would take here, about; -1: not asked for
    double fullSeconds = -1;  ///< were all of them encoded
    std::optional<media::Codec>
        otherCodec;                  ///< of a movie in full, where copies are of one that is never asked for
    std::string why;                 ///< why nothing is copied, a sentence; empty when something is
    bool expected = false;           ///< of `why`: it follows from what was asked for, and surprises nobody
    std::vector<std::string> notes;  ///< which clips are encoded from end to end
};

/// What is said of copies: by the run, else by the edit, else the program's own way. Of sound alone nothing
/// is copied, nor where nothing is written and nobody wants to know.
CopyWish copyWish(const Edit& edit, const RenderSettings& settings);

/// Works out what can be copied, when it is wished for, and tells the request's writer. Throws Refusal
/// (BadRequest) with the sentence when copies were demanded and cannot be had, and MediaError.
void settleCopies(const Edit& edit, const RenderSettings& settings, const CopyWish& wish,
                  MovieRequest& request);

/// What people are told where nothing was copied: one line, or none where nobody asked for copies and the
/// reason surprises nobody.
std::string nothingCopiedLine(const CopyWish& wish, const Copying& copying);

/// What is copied and encoded, run by run, for people; with a final newline.
std::string copyingTable(const MovieRequest& request);

}  // namespace tumblewash::edit
