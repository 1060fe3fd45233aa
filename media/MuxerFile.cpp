#include "media/detail/MuxerFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tumblewash::media {

namespace {

// Few large writes: the library's own choice for files.
constexpr int kBufferBytes = 1 << 18;

}  // namespace

/// A place in the open file; each of the library's ways to it has its own.
struct MuxerFile::Cursor {
    int file;
    CancelFlag cancel;
    int64_t at = 0;

    static int write(void* self, uint8_t* bytes, int size) {
        auto& cursor = *static_cast<Cursor*>(self);
        for (int done = 0; done < size;) {
            if (raised(cursor.cancel)) return AVERROR_EXIT;
            const ssize_t written =
                pwrite(cursor.file, bytes + done, static_cast<size_t>(size - done), cursor.at);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return AVERROR(written < 0 ? errno : ENOSPC);
            done += static_cast<int>(written);
            cursor.at += written;
        }
        return size;
    }

    static int read(void* self, uint8_t* bytes, int size) {
        auto& cursor = *static_cast<Cursor*>(self);
        if (raised(cursor.cancel)) return AVERROR_EXIT;
        for (;;) {
            const ssize_t got = pread(cursor.file, bytes, static_cast<size_t>(size), cursor.at);
            if (got < 0 && errno == EINTR) continue;
            if (got == 0) return AVERROR_EOF;
            if (got < 0) return AVERROR(errno);
            cursor.at += got;
            return static_cast<int>(got);
        }
    }

    /// The library counts from the start, whatever its own callers count from.
    static int64_t seek(void* self, int64_t offset, int whence) {
        auto& cursor = *static_cast<Cursor*>(self);
        whence &= ~AVSEEK_FORCE;
        if (whence == AVSEEK_SIZE) {
            struct stat status {};
            return fstat(cursor.file, &status) == 0 ? status.st_size : AVERROR(errno);
        }
        if (whence != SEEK_SET || offset < 0) return AVERROR(EINVAL);
        return cursor.at = offset;
    }

    static AVIOContext* open(int file, CancelFlag cancel, bool writes) {
        auto cursor = std::make_unique<Cursor>(Cursor{file, cancel});
        auto* buffer = static_cast<uint8_t*>(av_malloc(kBufferBytes));
        if (buffer == nullptr) return nullptr;
        AVIOContext* io = avio_alloc_context(buffer, kBufferBytes, writes ? 1 : 0, cursor.get(),
                                             writes ? nullptr : read, writes ? write : nullptr, seek);
        if (io == nullptr) {
            av_free(buffer);
            return nullptr;
        }
        io->min_packet_size = io->max_packet_size = writes ? kBufferBytes : 0;
        cursor.release();
        return io;
    }

    static void free(AVIOContext* io) noexcept {
        delete static_cast<Cursor*>(io->opaque);
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

MuxerFile::MuxerFile(AVFormatContext& muxer, int file, CancelFlag cancel) : muxer_(muxer) {
    muxer.pb = orBadAlloc(Cursor::open(file, cancel, true));
    muxer.flags |= AVFMT_FLAG_CUSTOM_IO;
    // The one file there is, whatever name the library asks for.
    muxer.io_open = openAgain;
    muxer.io_close2 = closeAgain;
}

MuxerFile::~MuxerFile() {
    Cursor::free(muxer_.pb);
    muxer_.pb = nullptr;
}

int MuxerFile::openAgain(AVFormatContext* muxer, AVIOContext** io, const char* url, int flags,
                         AVDictionary**) {
    if (std::string(url) != muxer->url || (flags & AVIO_FLAG_WRITE) != 0) return AVERROR(EACCES);
    const Cursor& first = *static_cast<const Cursor*>(muxer->pb->opaque);
    *io = Cursor::open(first.file, first.cancel, false);
    return *io == nullptr ? AVERROR(ENOMEM) : 0;
}

int MuxerFile::closeAgain(AVFormatContext*, AVIOContext* io) {
    Cursor::free(io);
    return 0;
}

void MuxerFile::FreeReading::operator()(AVIOContext* io) const noexcept {
    Cursor::free(io);
}

MuxerFile::Reading MuxerFile::reading() const {
    const Cursor& first = *static_cast<const Cursor*>(muxer_.pb->opaque);
    return Reading(orBadAlloc(Cursor::open(first.file, first.cancel, false)));
}

int MuxerFile::flush() noexcept {
    avio_flush(muxer_.pb);
    return muxer_.pb->error < 0 ? muxer_.pb->error : 0;
}

}  // namespace tumblewash::media
