// A numbered run of pictures under way, in a hidden folder beside its final names, and put in place as a
// whole: all new or all old. Of the pictures there before, only those are removed that an earlier run wrote
// and nobody has changed since. One output of one name is StagedFile's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media/OutputPlace.h"

namespace tumblewash::media {

/// Throws MediaError (notWritable) when pictures of that pattern could not become files, or exist already
/// without `force`. Puts back what a run that was ended in the middle of its last step left.
void checkSequenceTarget(const std::string& pattern, bool force);

/// The names, without the folder, of all files that a run of `pictures` pictures writes, replaces or removes.
std::vector<std::string> filesOfSequence(const std::string& pattern, int64_t pictures);

class StagedSequence {
  public:
    /// `pattern` holds one %d (with width). Throws as `checkSequenceTarget` does.
    StagedSequence(const std::string& pattern, bool force);
    ~StagedSequence();
    StagedSequence(const StagedSequence&) = delete;
    StagedSequence& operator=(const StagedSequence&) = delete;

    /// Writes the next picture complete, into the hidden folder; the first is number 1.
    void add(const void* bytes, size_t size);
    /// Puts all pictures in place. Throws MediaError, and then the old ones are as they were. A program that
    /// is ended while this works leaves a record by which the next check of this pattern puts the old ones
    /// back.
    void commit();
    /// What a user should know about older pictures, after `commit`.
    const std::vector<std::string>& warnings() const noexcept { return warnings_; }

  private:
    struct Plan;
    Plan plan();
    void write(const std::string& name, const std::string& text) const;
    void perform(const Plan& plan);

    OutputPlace place_;
    bool force_;
    HiddenEntry hidden_;
    int64_t count_ = 0;
    std::vector<std::string> warnings_;
};

}  // namespace tumblewash::media
