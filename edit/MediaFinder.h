// Finds the files that an edit of another program means: by the name it gives, else by the end of that name
// below a folder that the user named. Folders are read once, when a name is not found by itself.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tumblewash::edit {

/// Looks for files. Names that nothing fits are kept, so that all of them can be refused at once.
class MediaFinder {
  public:
    /// `folder` is the user's, or empty. `beside` is the folder of the document: relative names start there,
    /// and it is looked through (without its subfolders) when the user named none.
    MediaFinder(std::string folder, std::string beside);

    /// The file that `name` means: as it stands, from the document's folder, else the one below the folder
    /// whose path ends most like it. Empty when there is none. Throws Refusal (BadRequest) where two fit
    /// equally well.
    std::string find(const std::string& name);
    /// The file with this name without its ending, in any case; empty when there is none. Throws like `find`.
    std::string findStem(const std::string& stem);
    /// The file whose name, letters and digits alone, in capitals and cut to the reel's length, is `reel`.
    /// Throws like `find`.
    std::string findReel(const std::string& reel);

    /// Notes a name that nothing was found for.
    void miss(const std::string& name);
    /// Throws Refusal (BadInput) with all names that were missed.
    void refuseMissing(const std::string& document) const;

  private:
    void index();
    std::string only(const std::vector<std::string>& files, const std::string& name) const;

    std::string folder_;
    std::string beside_;
    bool indexed_ = false;
    std::multimap<std::string, std::string> byName_;  ///< name to path
    std::vector<std::string> missing_;
};

/// A name as a reel of `length` characters: without its ending, letters and digits, in capitals.
std::string reelOf(const std::string& name, std::size_t length);

}  // namespace tumblewash::edit
