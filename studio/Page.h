// The page itself: its files as they were built into the program, each with a type and a mark of its bytes.
#pragma once

#include <span>
#include <string_view>

namespace tumblewash::studio {

/// One file of the page.
struct PageFile {
    std::string_view name;
    std::string_view type;
    std::string_view mark;    ///< ETag, with its quotes
    std::string_view packed;  ///< the text as gzip
    std::string_view text;
};

/// All files of the page.
std::span<const PageFile> pageFiles();

/// The file of this name; null without one.
const PageFile* pageFile(std::string_view name);

}  // namespace tumblewash::studio
