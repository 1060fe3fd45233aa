// Edits of other programs: OpenTimelineIO (.otio), CMX 3600 (.edl) and FFmpeg's concat lists (.ffconcat),
// read into an edit and written from one. What a format cannot say is said in a line each, both ways.
// docs/edit-exchange.md tells what becomes of what.
#pragma once

#include <string>
#include <vector>

#include "edit/CutList.h"
#include "edit/Edit.h"
#include "edit/Request.h"

namespace tumblewash::edit {

/// How another program's edit is read.
struct ExchangeSettings {
    std::string media;         ///< the folder in which files are looked for; empty: beside the document
    int track = 0;             ///< which track with pictures, from 1; 0: the only one
    bool unsafePaths = false;  ///< concat lists: files outside the list's folder too
    std::optional<media::FrameRate> fps;  ///< the edit's rate; unset: as the document says
};

/// True for names that end as the documents of other programs do.
bool isExchangeName(const std::string& name);

/// The endings, for messages: `.otio, .edl, .ffconcat`.
std::string exchangeEndings();

/// Reads a document of another program. Lines about what could not be taken over go to `remarks`. Throws
/// Refusal: BadRequest for what is no such document or says something impossible, BadInput for files that
/// cannot be found; MediaError for files that cannot be read.
Edit readExchange(const std::string& file, const ExchangeSettings& settings,
                  std::vector<std::string>& remarks);

/// The text of the settled edit in the format of `file`'s ending. Lines about what the format cannot say go
/// to `remarks`. Throws Refusal (BadRequest) for names that the format cannot hold.
std::string exchangeText(const std::string& file, const Edit& edit, const MovieRequest& request,
                         std::vector<std::string>& remarks);

}  // namespace tumblewash::edit
