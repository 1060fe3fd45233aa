// The frames that a plug-in holds at the moment: lent, mixed, released, and taken back when it forgets.
// Cookies are checked, so a wrong or stale one is refused and never followed.
// Internal to this room.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "host/FrameSource.h"
#include "host/WorldOver.h"

namespace tumblewash::host {

/// One frame on loan. The world outlives the loan until the request ends: the morph restores the locks of
/// pixel maps whose frames it has already returned.
struct Loan {
    FrameRequest request;            ///< what was asked
    LentFrame frame;                 ///< what the source delivered
    std::optional<WorldOver> world;  ///< the world over it
    bool out = true;                 ///< The plug-in has not returned it yet.
    std::vector<float> samples;      ///< Kept past the loan: sound is mixed when all levels are known.
    std::optional<int> askedLevel;   ///< Sum of what MixAudio asked.
};

/// The loans of one request, and of one thread.
class FrameLoans {
  public:
    /// `channels` is the width of the source's sample blocks.
    FrameLoans(FrameSource& source, int channels) : source_(source), channels_(channels) {}
    ~FrameLoans() { endRequest(); }
    FrameLoans(const FrameLoans&) = delete;
    FrameLoans& operator=(const FrameLoans&) = delete;

    /// Borrows a frame of the source and makes a world over it. Throws what the source throws, and HostError
    /// for a picture of another size than asked for.
    Loan& lend(const FrameRequest& request);

    /// The loan with this cookie while it is out; null for anything else.
    [[nodiscard]] Loan* find(const void* cookie) noexcept;

    /// Gives the pixels back; the world and the samples stay until the request ends.
    void release(Loan& loan) noexcept;

    /// Every loan of this request, returned or not, in the order of lending.
    [[nodiscard]] const std::vector<std::unique_ptr<Loan>>& all() const noexcept { return loans_; }

    /// Gives back what is still out, forgets everything and tells how many frames were still out.
    int endRequest() noexcept;

  private:
    FrameSource& source_;
    int channels_;
    std::vector<std::unique_ptr<Loan>> loans_;
    std::vector<std::vector<std::uint8_t>> spareBuffers_;
};

}  // namespace tumblewash::host
