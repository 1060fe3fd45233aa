// The commands around a plan of parts: plan with parts, render of one part, merge, submit, status.
#pragma once

#include <string>

#include "app/Options.h"
#include "edit/Edit.h"
#include "farm/FarmPlan.h"
#include "farm/PartFiles.h"

namespace tumblewash::app {

/// This program and the libraries that its bytes depend on, in words.
std::string farmProgram();

/// True when `plan` was asked for a plan of parts. Throws Refusal (BadRequest) for options that only make
/// sense then.
bool wantsParts(const Options& options);

/// Writes the plan of parts of an edit.
void makeFarmPlan(const Options& options, const edit::Edit& edit);

/// The plan in a file. Throws Refusal.
farm::FarmPlan openPlan(const std::string& file);

/// Runs render of one part of a plan, and merge, submit, status. Throw Refusal, MediaError or HostError.
void renderPlanPart(const Options& options);
void mergePlan(const Options& options);
void submitPlan(const Options& options);
void showStatus(const Options& options);

/// Says what is to be told of parts: damage always, the rest unless `quiet`.
void sayPartWords(const farm::PartWords& words, bool quiet);

/// Refuses copies that were asked for, which parts know nothing of. Throws Refusal (BadRequest).
void refuseCopies(const Options& options, const edit::Edit& edit);

/// Where this very program lies, for scripts that start it.
std::string ownProgram();

}  // namespace tumblewash::app
