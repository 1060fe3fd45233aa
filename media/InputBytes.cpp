#include "media/detail/InputBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tumblewash::media {

namespace {

// The library's own choice for reading files.
constexpr int kBufferBytes = 1 << 15;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::unreadable, path, why);
}

void checkKind(const std::string& path, const struct stat& status) {
    if (S_ISDIR(status.st_mode)) refuse(path, "is a folder; name one clip or picture in it");
    if (!S_ISREG(status.st_mode)) refuse(path, "is a pipe or device; save it as an ordinary file first");
    if (status.st_size == 0) refuse(path, "is empty (0 bytes); get a complete copy");
}

/// A place in the file.
struct Cursor {
    int file;
    int64_t bytes;
    AVIOInterruptCB interrupt;
    int64_t at = 0;
};

int readOn(void* self, uint8_t* bytes, int size) {
    auto& cursor = *static_cast<Cursor*>(self);
    for (;;) {
        if (cursor.interrupt.callback != nullptr && cursor.interrupt.callback(cursor.interrupt.opaque) != 0)
            return AVERROR_EXIT;
        const ssize_t got = pread(cursor.file, bytes, static_cast<size_t>(size), cursor.at);
        if (got < 0 && errno == EINTR) continue;
        if (got == 0) return AVERROR_EOF;
        if (got < 0) return AVERROR(errno);
        cursor.at += got;
        return static_cast<int>(got);
    }
}

/// The library counts from the start, whatever its own callers count from.
int64_t goTo(void* self, int64_t offset, int whence) {
    auto& cursor = *static_cast<Cursor*>(self);
    whence &= ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE) return cursor.bytes;
    if (whence != SEEK_SET || offset < 0) return AVERROR(EINVAL);
    return cursor.at = offset;
}

/// Which file it is that has these facts.
FileIdentity identityOf(const struct stat& status) noexcept {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace

void FreeInputIo::operator()(AVIOContext* io) const noexcept {
    delete static_cast<Cursor*>(io->opaque);
    av_freep(&io->buffer);
    avio_context_free(&io);
}

InputBytes::InputBytes(const std::string& path) : path_(path) {
    struct stat status {};
    if (path.empty()) refuse(path, "an empty file name; name a clip or a picture");
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) refuse(path, "no such file; check the name");
        refuse(path, std::string("cannot be opened (") + std::strerror(errno) + "); check the permissions");
    }
    checkKind(path, status);
    // Another kind of file may have taken the name by now, and opening a pipe would wait for its writer.
    file_ = Descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file_ && (errno == EACCES || errno == EPERM))
        refuse(path, "permission denied; check the permissions");
    if (!file_ || fstat(file_.get(), &status) != 0)
        refuse(path, std::string("cannot be opened (") + std::strerror(errno) + ")");
    checkKind(path, status);
    identity_ = identityOf(status);
}

void InputBytes::checkUnchanged() const {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0 || identityOf(status) != identity_) throwChanged(path_);
}

InputIoPtr InputBytes::open(const AVIOInterruptCB& interrupt) const {
    auto cursor = std::make_unique<Cursor>(Cursor{file_.get(), identity_.bytes, interrupt});
    auto* buffer = static_cast<uint8_t*>(orBadAlloc(av_malloc(kBufferBytes)));
    AVIOContext* io = avio_alloc_context(buffer, kBufferBytes, 0, cursor.get(), readOn, nullptr, goTo);
    if (io == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    cursor.release();
    return InputIoPtr(io);
}

size_t InputBytes::read(uint64_t at, std::span<uint8_t> to) const noexcept {
    size_t done = 0;
    while (done < to.size() && at + done <= static_cast<uint64_t>(identity_.bytes)) {
        const ssize_t got =
            pread(file_.get(), to.data() + done, to.size() - done, static_cast<off_t>(at + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    return done;
}

std::vector<uint8_t> InputBytes::whole(size_t most) const {
    const auto size = static_cast<uint64_t>(identity_.bytes);
    if (size > most)
        throw MediaError(MediaErrorCode::undecodable, path_,
                         "is larger than any picture this program takes; convert it to JPEG first");
    std::vector<uint8_t> out(static_cast<size_t>(size));
    const bool all = read(0, out) == out.size();
    checkUnchanged();
    if (!all) refuse(path_, "cannot be read to its end");
    return out;
}

void throwChanged(const std::string& path) {
    refuse(path, "was changed while it was being read; run again when it is complete");
}

}  // namespace tumblewash::media
