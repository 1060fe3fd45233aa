#include "farm/Merge.h"

#include <fmt/format.h>

#include <algorithm>

#include "edit/Chapters.h"
#include "edit/Errors.h"
#include "edit/Missing.h"
#include "edit/Outputs.h"
#include "farm/PartRender.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::farm {

using edit::Problem;
using edit::Refusal;
using media::quotedName;

namespace {

void refuseUnusable(const FarmPlan& plan, const PlanPrints& prints, const std::string& folder) {
    constexpr int kNamed = 4;
    std::string words;
    int count = 0;
    for (const int number : partNumbers(plan)) {
        const std::string trouble = troubleOf(plan, prints, folder, number, true);
        if (trouble.empty() || ++count > kNamed) continue;
        words += (words.empty() ? "" : "; ") + trouble;
    }
    if (count > kNamed) words += fmt::format("; and {} more", count - kNamed);
    if (count > 0) throw Refusal(Problem::BadInput, words);
}

media::WriterSettings movieWriterOf(const FarmPlan& plan, bool force, media::CancelFlag cancel) {
    media::WriterSettings writer = writerOf(plan);
    writer.sound = plan.sound;
    writer.force = force;
    writer.title = plan.edit.title.value_or("");
    writer.comment = plan.edit.comment.value_or("");
    writer.pictures = plan.frames;
    writer.cancel = cancel;
    return writer;
}

/// The frames at which the clips begin.
std::vector<media::Chapter> chaptersOf(const FarmPlan& plan) {
    return plan.edit.chapters ? edit::chaptersOf(plan.edit, framePlanOf(plan), 0, plan.frames)
                              : std::vector<media::Chapter>();
}

/// A clip that several parts read is told of once.
void addNew(std::vector<std::string>& lines, const std::vector<std::string>& more) {
    for (const std::string& line : more)
        if (std::find(lines.begin(), lines.end(), line) == lines.end()) lines.push_back(line);
}

}  // namespace

Merged mergeParts(const FarmPlan& plan, const std::string& folder, const std::string& output, bool force,
                  media::CancelFlag cancel) {
    if (!output.ends_with(plan.kind) || output.size() == plan.kind.size())
        throw Refusal(Problem::BadRequest, fmt::format("{}: the plan is for a movie whose name ends in {}",
                                                       quotedName(output), plan.kind));
    edit::checkFiles({edit::filesOf(plan.edit), output, 0, {}});
    media::checkTarget(output, force);
    const PlanPrints prints = printsOf(plan);
    if (plan.sound && !troubleOf(plan, prints, folder, kSoundPart, false).empty()) {
        checkPlanHere(plan, plan.program, kSoundPart);
        PartSettings settings;
        settings.output = folder;
        settings.cancel = cancel;
        renderPart(plan, kSoundPart, settings);
    }
    refuseUnusable(plan, prints, folder);
    Merged merged;
    std::vector<media::PlacedPiece> pieces;
    for (const int number : partNumbers(plan)) {
        const PartFiles files(folder, number);
        const Receipt receipt = readReceipt(files.receipt);
        addNew(merged.words.conversions, receipt.words.conversions);
        addNew(merged.words.warnings, receipt.words.warnings);
        addNew(merged.words.remarks, receipt.words.remarks);
        if (number != kSoundPart)
            pieces.push_back({files.piece, receipt.bounds.first, receipt.bounds.frames, receipt.piece.delay});
    }
    media::WriterSettings writer = movieWriterOf(plan, force, cancel);
    writer.chapters = chaptersOf(plan);
    try {
        merged.prints =
            media::mergePieces(output, writer, pieces, plan.sound ? PartFiles(folder, kSoundPart).piece : "");
    } catch (const media::MediaError& problem) {
        edit::failWhileWorking(problem);
    }
    return merged;
}

}  // namespace tumblewash::farm
