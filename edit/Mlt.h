// A join as an MLT project that melt, Shotcut and Kdenlive open: the clips in the bin and on two tracks for
// pictures and two for sound, each seam a composition where they overlap, its sound a pair of fades. Openings
// and closings are seams with black. The editor decodes the clips itself and renders the seams with this
// project's frei0r mixers. Text only; nothing is rendered here.
#pragma once

#include <string>

#include "edit/Request.h"

namespace tumblewash::edit {

/// The project as XML. Throws Refusal (BadRequest) for what a project cannot say: sources that the program
/// draws itself, a fit other than contain, photos that move, music, clips that are made louder, a seed
/// outside 1 to 1001, a part of the edit.
std::string mltProject(const Edit& edit, const MovieRequest& request);

/// What a project shows otherwise than the movie, in words for its name's line; empty where nothing.
std::string mltRemark(const Edit& edit, const MovieRequest& request);

}  // namespace tumblewash::edit
