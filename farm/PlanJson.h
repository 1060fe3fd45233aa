// A plan as a document: NAME.plan.json, written by the program for itself. It is read strictly, and refused
// when anything in it was changed by hand: parts made by it and by the changed one would not fit together.
#pragma once

#include <string>

#include "farm/FarmPlan.h"

namespace tumblewash::farm {

/// The document, and the plan's fingerprints.
std::string planText(const FarmPlan& plan);
PlanPrints printsOf(const FarmPlan& plan);

/// Reads a plan named `name`. Throws Refusal (BadRequest), `NAME:LINE: what is wrong` or `NAME: ...`, for
/// what is no JSON, no plan, made by a newer program, or changed by hand.
FarmPlan readPlan(const std::string& text, const std::string& name);

}  // namespace tumblewash::farm
