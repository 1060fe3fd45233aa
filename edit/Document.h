// An edit as a document: NAME.edit.json, read strictly and written in one canonical order.
// docs/edit-format.md tells the format, DocumentKeys.h holds its keys. Whether the clips exist, and whether
// the seams fit, is not asked here.
#pragma once

#include <string>

#include "edit/Edit.h"

namespace tumblewash::edit {

/// Reads a document named `name`. Throws Refusal (BadRequest), `NAME:LINE: /pointer: what is wrong`, for what
/// is no JSON, unknown keys (with the nearest one), wrong types and values that cannot be. `folder` of the
/// result is the folder of `name`.
Edit readEdit(const std::string& text, const std::string& name);

/// The document in its canonical form: keys in the table's order, defaults left out, two blanks of indent, a
/// final newline. What `readEdit` made of such a text gives the same bytes. Throws Refusal (BadRequest) for
/// names that are not UTF-8, which a document cannot hold.
std::string editJson(const Edit& edit);

/// True for names that end as documents do: `.edit.json`.
bool isDocumentName(const std::string& name);

}  // namespace tumblewash::edit
