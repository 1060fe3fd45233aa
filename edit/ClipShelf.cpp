#include "edit/ClipShelf.h"

#include <sys/stat.h>

namespace tumblewash::edit {

using media::FileIdentity;
using media::ReaderSettings;

namespace {

/// More than any edit of people has files.
constexpr std::size_t kMost = 4096;

bool sameReading(const ReaderSettings& a, const ReaderSettings& b) {
    return a.width == b.width && a.height == b.height && a.fit == b.fit && a.rate == b.rate &&
           a.sampleRate == b.sampleRate && a.channels == b.channels && a.layout == b.layout &&
           a.matrix == b.matrix && a.transfer == b.transfer && a.toneMap == b.toneMap &&
           a.keepAlpha == b.keepAlpha && a.keepFields == b.keepFields && a.sound == b.sound;
}

bool isUnchanged(const std::string& file, const std::optional<FileIdentity>& identity) {
    struct stat now {};
    if (!identity || stat(file.c_str(), &now) != 0) return false;
    return *identity ==
           FileIdentity{now.st_dev, now.st_ino, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
}

}  // namespace

std::optional<Clip> ClipShelf::find(const std::string& file, const ReaderSettings& settings) const {
    const std::scoped_lock hold(lock_);
    const Kept* similar = nullptr;
    for (const Kept& kept : kept_) {
        if (kept.clip.path() != file || !isUnchanged(file, kept.clip.info().identity)) continue;
        if (sameReading(kept.settings, settings)) return kept.clip.again();
        if (kept.settings.rate == settings.rate && !kept.settings.keepFields && !settings.keepFields)
            similar = &kept;
    }
    if (similar == nullptr) return std::nullopt;
    return similar->clip.again(settings);
}

void ClipShelf::keep(const ReaderSettings& settings, const Clip& clip) {
    const std::scoped_lock hold(lock_);
    std::erase_if(kept_, [&](const Kept& kept) {
        return kept.clip.path() == clip.path() && sameReading(kept.settings, settings);
    });
    if (kept_.size() >= kMost) kept_.erase(kept_.begin());
    kept_.push_back({settings, clip.again()});
}

std::optional<media::Loudness> ClipShelf::loudness(const Clip& clip, const HeardStretch& stretch) const {
    const std::scoped_lock hold(lock_);
    for (const Heard& heard : heard_)
        if (heard.file == clip.path() && heard.stretch == stretch && heard.identity == clip.info().identity &&
            isUnchanged(heard.file, heard.identity))
            return heard.loudness;
    return std::nullopt;
}

void ClipShelf::keepLoudness(const Clip& clip, const HeardStretch& stretch, const media::Loudness& heard) {
    if (!clip.info().identity) return;
    const std::scoped_lock hold(lock_);
    if (heard_.size() >= kMost) heard_.erase(heard_.begin());
    heard_.push_back({clip.path(), clip.info().identity, stretch, heard});
}

}  // namespace tumblewash::edit
