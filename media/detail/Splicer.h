// One track of pictures from a copy plan: packets of clips as they are but for the ids in them, and packets
// of pictures that are encoded here, with one header and times that are whole pictures. It writes no file:
// packets are handed on in decoding order.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/CopyPlan.h"
#include "media/Writer.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

class Splicer {
  public:
    /// Takes a packet whose times are counted in pictures of the settings' rate.
    using Emit = std::function<void(AVPacket&)>;

    /// `settings.copies` is the plan. Throws MediaError.
    Splicer(const std::string& output, const WriterSettings& settings, Emit emit);
    ~Splicer();
    Splicer(const Splicer&) = delete;
    Splicer& operator=(const Splicer&) = delete;

    /// Fills in the track's parameters, its header among them.
    void describe(AVStream& stream) const;
    /// The next picture, one that the plan has as encoded.
    void picture(const PictureRef& picture);
    /// The next picture, one that the plan has as copied.
    void copied();
    /// Hands on what encoders hold back. All pictures of the plan must have come.
    void finish();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
