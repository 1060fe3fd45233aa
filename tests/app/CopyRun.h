// Clips that can be copied, joins that copy them, and what every such join has to hold.
// Helpers for the tests of this folder only; they add failures where a clip or a movie is not as it has to
// be.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app::copies {

/// A clip of `seconds` of drawing `source` (0 to 2) of 128x96 at 25 frames per second, encoded as `coding`
/// says, with a tone where `sound` names a coding for it. Returns its path.
std::string clip(const Workshop& shop, const std::string& name, int source, double seconds,
                 const std::string& coding, const std::string& sound = "-an");

/// Words that encode with these parameters.
std::string x264(const std::string& more);
std::string x265(const std::string& more);

/// The fingerprints of a file's frames; adds a failure when the decoder complains.
std::vector<std::string> framesOf(const Workshop& shop, const std::string& file, int threads = 1);

/// The report that a join wrote as report.json.
nlohmann::json reportOf(const Workshop& shop);

/// Joins with copies demanded; checks times, decodes without a complaint and compares each copied run with
/// its clip. Gives the report, null where the join failed.
nlohmann::json copiedJoin(const Workshop& shop, std::vector<std::string> words,
                          const std::vector<std::string>& clips, const std::string& out);

/// A join that cannot copy: demanded copies are refused with `sentence` and leave nothing; where they are
/// only wished for, it is told, and all is rendered into `output`.
void isToldAndRendered(const Workshop& shop, std::vector<std::string> words, const std::string& output,
                       const std::string& sentence);

}  // namespace tumblewash::app::copies
