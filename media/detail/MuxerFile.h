// A muxer's way to an output file that is open already: its bytes go through that descriptor and no other,
// also where the library would open the file a second time by its name to move the index to the front. The
// file is the caller's; this neither makes nor names nor closes it.
#pragma once

#include <memory>
#include <string>

#include "media/detail/Av.h"

namespace tumblewash::media {

class MuxerFile {
  public:
    /// Attaches the open file to a muxer that has none yet. Both outlive this object.
    MuxerFile(AVFormatContext& muxer, int file, CancelFlag cancel);
    ~MuxerFile();
    MuxerFile(const MuxerFile&) = delete;
    MuxerFile& operator=(const MuxerFile&) = delete;

    /// Writes what is still buffered. 0, or the first error any writing met, as AVERROR.
    int flush() noexcept;
    /// A way to read the file from its beginning. Throws std::bad_alloc.
    struct FreeReading {
        void operator()(AVIOContext* io) const noexcept;
    };
    using Reading = std::unique_ptr<AVIOContext, FreeReading>;
    Reading reading() const;

  private:
    struct Cursor;
    static int openAgain(AVFormatContext* muxer, AVIOContext** io, const char* url, int flags,
                         AVDictionary** options);
    static int closeAgain(AVFormatContext* muxer, AVIOContext* io);

    AVFormatContext& muxer_;
};

}  // namespace tumblewash::media
