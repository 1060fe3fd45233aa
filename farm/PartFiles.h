// The folder of a plan's parts: what its files are called, the receipt beside each piece, and what is told
// there of parts that are being rendered or failed. A part is done when its receipt is good; nothing else
// counts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "farm/PlanJson.h"
#include "media/Pieces.h"

namespace tumblewash::farm {

/// The files of part `number` (`kSoundPart`: of the sound) in a folder.
struct PartFiles {
    PartFiles(const std::string& folder, int number);
    std::string piece;    ///< part-0003.piece
    std::string receipt;  ///< part-0003.json, written after the piece
    std::string running;  ///< part-0003.running, while it is rendered
    std::string failed;   ///< part-0003.failed, the line it broke off with
    std::string log;      ///< part-0003.log, what an engine kept of its words
};

/// The folder of a plan's parts where none is named: `show.parts` beside `show.plan.json`.
std::string usualPartsFolder(const std::string& planFile);

/// What was said about a part while it was rendered, one line each, for whoever merges it.
struct PartWords {
    std::vector<std::string> conversions;  ///< what is done to its photos, each with the file's name
    std::vector<std::string> warnings;     ///< what is damaged in its clips, the same
    std::vector<std::string> remarks;      ///< the limiter's
};

/// The receipt of a piece.
struct Receipt {
    std::string program;
    PlanPrints plan;
    int part = 0;
    PartBounds bounds;
    media::PieceFacts piece;
    PartWords words;
};

/// The receipt's document.
std::string receiptText(const Receipt& receipt);
/// Reads one. Throws Refusal (BadRequest).
Receipt readReceipt(const std::string& file);

/// Why a part cannot be used, as a sentence with the name of its file; empty when it can. `whole`: the piece
/// itself is read too, not only its size.
std::string troubleOf(const FarmPlan& plan, const PlanPrints& prints, const std::string& folder, int number,
                      bool whole);

/// The numbers of all parts of a plan, the sound first, which takes longest to be ready for nobody else.
std::vector<int> partNumbers(const FarmPlan& plan);

/// The parts that are not done.
std::vector<int> missingParts(const FarmPlan& plan, const std::string& folder);

/// What a part is doing.
enum class PartState { Missing, Running, Failed, Done };

/// One line of `status`.
struct PartStatus {
    int number = 0;
    PartState state = PartState::Missing;
    std::int64_t done = 0;  ///< frames
    std::int64_t frames = 0;
    std::string words;  ///< where it runs, or why it failed
};

/// The state of all parts, in order. What runs says so every few seconds; without a word for a minute it
/// counts as failed.
std::vector<PartStatus> statusOf(const FarmPlan& plan, const std::string& folder);

/// While it lives, a part says that it is being rendered. A process that ends without taking it down failed.
class RunningMark {
  public:
    RunningMark(const PartFiles& files, std::int64_t frames);
    ~RunningMark();
    RunningMark(const RunningMark&) = delete;
    RunningMark& operator=(const RunningMark&) = delete;
    /// Frames that are finished; written down now and then.
    void advance(std::int64_t done);
    /// Writes down why it failed, until the part is begun anew.
    void fail(const std::string& words) noexcept;

  private:
    void write(std::int64_t done);

    PartFiles files_;
    std::int64_t frames_;
    std::int64_t last_ = 0;  // of the clock, in seconds
};

}  // namespace tumblewash::farm
