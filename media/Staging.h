// Output files made beside their final names and put in place in one step.
// Order of a commit: write, fsync, rename, fsync of the directory. Whoever is destroyed before leaves no
// trace. Nothing here knows what is in the files: movies, pictures and the program's texts all come this way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tumblewash::media {

/// Throws MediaError (notWritable) when `path` could not become a file: missing, closed or no directory, a
/// directory itself, no regular file, already there without `force`.
void checkTarget(const std::string& path, bool force);

/// The same for the directory alone, which a trial file finds out.
void checkDirectoryOf(const std::string& path);

/// MediaError (notWritable) with the system's words for `error` and what to do about it.
[[noreturn]] void throwNotWritable(const std::string& path, int error);

/// The same for a pattern of numbered files: refuses when one of them exists, unless `force`.
void checkSequenceTarget(const std::string& pattern, bool force);

/// One file under way.
class StagedFile {
  public:
    /// Makes an empty file beside `path` with a hidden name; a link is followed to the file it names. `force`
    /// as above.
    StagedFile(std::string path, bool force);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    /// Where to write meanwhile.
    const std::string& temporary() const noexcept { return temporary_; }
    /// Adds bytes at the end. For those who do not open `temporary` themselves.
    void write(const void* bytes, size_t size);
    /// Puts the file in place. Throws MediaError, and then the old file is as it was.
    void commit();

  private:
    std::string path_;    // as the user said it, for messages
    std::string target_;  // behind links
    std::string temporary_;
    bool force_;
    int file_ = -1;
};

/// A numbered run of files under way, in a hidden directory beside them.
class StagedSequence {
  public:
    /// `pattern` holds one %d (with width). Throws when files of that pattern exist, unless `force`.
    StagedSequence(std::string pattern, bool force);
    ~StagedSequence();
    StagedSequence(const StagedSequence&) = delete;
    StagedSequence& operator=(const StagedSequence&) = delete;

    /// Writes file `number` complete, into the hidden directory.
    void add(int64_t number, const void* bytes, size_t size);
    /// Renames all files into place, one after the other, then removes older files of higher numbers. A
    /// failure leaves those not yet reached as they were.
    void commit();

  private:
    std::string pattern_;
    std::string directory_;
    std::string hidden_;
    bool force_;
    std::vector<std::string> names_;
};

/// True when `output`'s file name holds exactly one %d, %5d or %05d and no other percent sign.
bool isNumberPattern(const std::string& output);
/// The pattern with its number filled in.
std::string numbered(const std::string& pattern, int64_t number);

}  // namespace tumblewash::media
