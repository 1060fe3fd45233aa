#include "media/Staging.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "media/MediaError.h"

namespace tumblewash::media {

namespace {

void checkPlace(const OutputPlace& place, bool force) {
    if (place.there) {
        if (S_ISDIR(place.there->st_mode)) refuseOutput(place.shown, "is a folder; name a file in it");
        if (!S_ISREG(place.there->st_mode))
            refuseOutput(place.shown, "is a device or pipe; name an ordinary file");
        if (!force) refuseOutput(place.shown, "already exists; add --force to replace it");
        if (faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0)
            refuseOutput(place.shown, "is write-protected; change that or choose another name");
    }
    checkTakesFiles(place);
}

}  // namespace

void checkTarget(const std::string& path, bool force) {
    checkPlace(findPlace(path), force);
}

StagedFile::StagedFile(const std::string& path, bool force) : place_(findPlace(path)), force_(force) {
    checkPlace(place_, force_);
    if (place_.there) before_ = readRights(place_.folder.get(), place_.name, *place_.there);
    // What replaces a file gets its rights at the end; until then it is nobody else's to read.
    HiddenEntry made = makeHiddenFile(place_, place_.there ? 0600 : 0666);
    hidden_ = std::move(made.name);
    file_ = std::move(made.opened);
    listed_ = std::move(made.listed);
}

StagedFile::~StagedFile() {
    if (!hidden_.empty()) unlinkat(place_.folder.get(), hidden_.c_str(), 0);
}

void StagedFile::write(const void* bytes, size_t size) {
    writeAll(file_.get(), bytes, size, place_.shown);
}

/// In a folder that others may write, the hidden name may have been given to another file.
void StagedFile::checkStillMine() const {
    struct stat mine {};
    const auto named = fileAt(place_, hidden_);
    if (fstat(file_.get(), &mine) != 0) throwNotWritable(place_.shown, errno);
    if (!named || named->st_dev != mine.st_dev || named->st_ino != mine.st_ino)
        refuseOutput(place_.shown, "was moved away while it was being written; choose another place");
}

/// Gives the finished file its name. True when the old file now bears the hidden one.
bool StagedFile::place(bool replaces) {
    const int folder = place_.folder.get();
    int error = replaces ? exchangeNames(folder, hidden_, place_.name)
                         : renameToNew(folder, hidden_, folder, place_.name);
    if (error == 0) return replaces;
    if (error == EEXIST)
        refuseOutput(place_.shown, force_ ? "appeared while this run was writing; try again"
                                          : "already exists; add --force to replace it");
    if (error == EOPNOTSUPP)
        error = renameat(folder, hidden_.c_str(), folder, place_.name.c_str()) == 0 ? 0 : errno;
    if (error != 0) throwNotWritable(place_.shown, error);
    return false;
}

void StagedFile::commit() {
    const auto old = fileAt(place_, place_.name);
    if (old && !force_) refuseOutput(place_.shown, "already exists; add --force to replace it");
    if (old && !S_ISREG(old->st_mode))
        refuseOutput(place_.shown, "is no longer an ordinary file; choose another name");
    if (old) before_ = readRights(place_.folder.get(), place_.name, *old);
    if (before_ && !adoptRights(file_.get(), *before_))
        refuseOutput(place_.shown, "cannot be protected as the file it replaces; choose another place");
    if (fsync(file_.get()) != 0) throwNotWritable(place_.shown, errno);
    checkStillMine();
    // Some disks tell of their trouble only now; the second descriptor is for the folder that cannot be read.
    const Descriptor second(place_.listable ? -1 : fcntl(file_.get(), F_DUPFD_CLOEXEC, 3));
    if (file_.close() != 0) throwNotWritable(place_.shown, errno);
    const int folder = place_.folder.get();
    listed_.hold();  // the hidden name may stand for the old file from here on
    const bool exchanged = place(old.has_value());
    const int error = syncFolder(place_, second.get());
    if (error != 0) {
        // Undone where the old file is at hand, so that a failure means what it always means.
        if (exchanged ? exchangeNames(folder, hidden_, place_.name) == 0
                      : !old && renameToNew(folder, place_.name, folder, hidden_) == 0)
            throwNotWritable(place_.shown, error);
        hidden_.clear();
        refuseOutput(place_.shown, "is in place, but the disk does not confirm it; check the disk");
    }
    if (exchanged) unlinkat(folder, hidden_.c_str(), 0);
    hidden_.clear();
    listed_.forget();
}

}  // namespace tumblewash::media
