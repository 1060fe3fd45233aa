#include "media/StagedSequence.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "media/AccessRights.h"
#include "media/MediaError.h"
#include "media/NumberPattern.h"
#include "media/Quoting.h"
#include "media/detail/SequenceRecord.h"

namespace tumblewash::media {

namespace {

using Steps = std::map<int64_t, SequenceUndo::Step>;

// Another run needs a moment for the same; one that takes longer is stopped or hangs.
constexpr auto kPatience = std::chrono::seconds(10);
constexpr auto kPause = std::chrono::milliseconds(20);

/// Keeps other runs of this program out of the folder for the few moments in which pictures change places. A
/// folder that cannot be locked is worked in all the same.
class FolderLock {
  public:
    FolderLock(const OutputPlace& place, bool wait) : folder_(place.listable ? place.folder.get() : -1) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (folder_ >= 0 && flock(folder_, LOCK_EX | LOCK_NB) != 0) {
            if (errno == EINTR) continue;
            busy_ = errno == EWOULDBLOCK;
            if (!busy_ || !wait || std::chrono::steady_clock::now() > end) {
                folder_ = -1;
                return;
            }
            std::this_thread::sleep_for(kPause);
        }
        busy_ = false;
    }
    ~FolderLock() {
        if (folder_ >= 0) flock(folder_, LOCK_UN);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    bool busy() const noexcept { return busy_; }

  private:
    int folder_;
    bool busy_ = false;
};

std::string nameOfStep(const OutputPlace& place, int64_t number) {
    return number == 0 ? listNameOf(place.name) : numbered(place.name, number);
}
std::string newName(int64_t number) {
    return std::to_string(number);
}
std::string oldName(int64_t number) {
    return "old-" + std::to_string(number);
}

bool holds(int folder, const std::string& name) {
    return faccessat(folder, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

bool isNew(const OutputPlace& place, int64_t number, const SequenceUndo::Step& step) {
    const auto now = fileAt(place, nameOfStep(place, number));
    return now && step.inode != 0 && now->st_ino == step.inode;
}

/// Takes one step back, as far as it was taken. False when something stands in the way.
bool takeBack(const OutputPlace& place, int hidden, int64_t number, const SequenceUndo::Step& step) {
    const std::string name = nameOfStep(place, number);
    const int folder = place.folder.get();
    if (isNew(place, number, step) && renameat(folder, name.c_str(), hidden, newName(number).c_str()) != 0)
        return false;
    return !holds(hidden, oldName(number)) || renameToNew(hidden, oldName(number), folder, name) == 0;
}

/// False when a step has been taken whose old file is gone: then the run was complete.
bool canBeTakenBack(const OutputPlace& place, int hidden, const Steps& steps) {
    for (const auto& [number, step] : steps)
        if (step.replaces && isNew(place, number, step) && !holds(hidden, oldName(number))) return false;
    return true;
}

bool takeAllBack(const OutputPlace& place, int hidden, const Steps& steps) {
    bool all = true;
    for (auto step = steps.rbegin(); step != steps.rend(); ++step)
        all = takeBack(place, hidden, step->first, step->second) && all;
    return all && syncFolder(place, hidden) == 0;
}

/// Puts back what a run that was ended in the middle has left. The folder is locked.
void heal(const OutputPlace& place) {
    const auto undo = readUndo(place);
    if (!undo) return;
    const HiddenEntry hidden{undo->folder,
                             Descriptor(openat(place.folder.get(), undo->folder.c_str(),
                                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)),
                             HiddenName()};
    if (!hidden.opened && errno != ENOENT) throwNotWritable(place.shown, errno);
    struct stat status {};
    const bool mine = hidden.opened && fstat(hidden.opened.get(), &status) == 0 && status.st_uid == geteuid();
    if (mine && canBeTakenBack(place, hidden.opened.get(), undo->steps) &&
        !takeAllBack(place, hidden.opened.get(), undo->steps))
        refuseOutput(place.shown, "a run that was ended in the middle left old pictures in " +
                                      quotedName(undo->folder) +
                                      "; put them back by hand and remove that folder and " +
                                      quotedName(undoNameOf(place.name)));
    unlinkat(place.folder.get(), undoNameOf(place.name).c_str(), 0);
    if (mine) removeHiddenFolder(place, hidden);
}

/// Numbers of the existing files that the pattern could have made. A folder that cannot be read tells none.
std::vector<int64_t> existingNumbers(const OutputPlace& place) {
    std::vector<int64_t> out;
    const int opened =
        place.listable ? openat(place.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    DIR* list = opened < 0 ? nullptr : fdopendir(opened);
    if (list == nullptr) {
        if (opened >= 0) close(opened);
        if (fileAt(place, numbered(place.name, 1))) out.push_back(1);
        return out;
    }
    while (const dirent* entry = readdir(list))
        if (const int64_t number = numberOf(place.name, entry->d_name)) out.push_back(number);
    closedir(list);
    return out;
}

/// The numbers above `pictures` that an earlier run wrote and that are still as it left them.
std::vector<int64_t> removable(const OutputPlace& place, int64_t pictures) {
    std::vector<int64_t> out;
    const SequenceList list = readList(place).value_or(SequenceList());
    for (auto one = list.upper_bound(pictures); one != list.end(); ++one) {
        const auto now = fileAt(place, numbered(place.name, one->first));
        if (now && S_ISREG(now->st_mode) && writtenPicture(*now) == one->second) out.push_back(one->first);
    }
    return out;
}

void checkPlace(const OutputPlace& place, bool force) {
    checkTakesFiles(place);
    {
        const FolderLock lock(place, false);
        // Another run at this very moment puts its own in order.
        if (!lock.busy()) heal(place);
    }
    if (!force && !existingNumbers(place).empty())
        refuseOutput(place.shown, "pictures of that name already exist; add --force to replace them");
}

}  // namespace

void checkSequenceTarget(const std::string& pattern, bool force) {
    checkPlace(findPlace(pattern), force);
}

std::vector<std::string> filesOfSequence(const std::string& pattern, int64_t pictures) {
    const OutputPlace place = findPlace(pattern);
    std::vector<std::string> out{listNameOf(place.name), undoNameOf(place.name)};
    for (int64_t number = 1; number <= pictures; ++number) out.push_back(numbered(place.name, number));
    for (const int64_t number : removable(place, pictures)) out.push_back(numbered(place.name, number));
    return out;
}

StagedSequence::StagedSequence(const std::string& pattern, bool force)
    : place_(findPlace(pattern)), force_(force) {
    checkPlace(place_, force_);
    hidden_ = makeHiddenFolder(place_);
}

StagedSequence::~StagedSequence() {
    if (!hidden_.name.empty()) removeHiddenFolder(place_, hidden_);
}

void StagedSequence::write(const std::string& name, const std::string& text) const {
    Descriptor file(openat(hidden_.opened.get(), name.c_str(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file) throwNotWritable(place_.shown, errno);
    writeAll(file.get(), text.data(), text.size(), place_.shown);
    if (fsync(file.get()) != 0 || file.close() != 0) throwNotWritable(place_.shown, errno);
}

void StagedSequence::add(const void* bytes, size_t size) {
    Descriptor file(openat(hidden_.opened.get(), newName(count_ + 1).c_str(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file) throwNotWritable(place_.shown, errno);
    ++count_;
    writeAll(file.get(), bytes, size, place_.shown);
    if (fsync(file.get()) != 0 || file.close() != 0) throwNotWritable(place_.shown, errno);
}

/// What `commit` is about to do.
struct StagedSequence::Plan {
    SequenceUndo undo;
    SequenceList list;
};

/// Looks at every name, gives each new picture the rights of the one it replaces, and writes the records into
/// the hidden folder.
StagedSequence::Plan StagedSequence::plan() {
    Plan plan;
    plan.undo.folder = hidden_.name;
    const int hidden = hidden_.opened.get();
    for (int64_t number = 1; number <= count_; ++number) {
        const std::string name = numbered(place_.name, number);
        const Descriptor file(openat(hidden, newName(number).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        struct stat made {};
        if (!file) throwNotWritable(place_.shown, errno);
        const auto old = fileAt(place_, name);
        if (old) {
            if (!force_)
                refuseOutput(place_.shown, quotedName(name) + " already exists; add --force to replace it");
            if (!S_ISREG(old->st_mode))
                refuseOutput(place_.shown,
                             quotedName(name) + " is not an ordinary file; choose another name");
            if (!adoptRights(file.get(), readRights(place_.folder.get(), name, *old)))
                refuseOutput(place_.shown, quotedName(name) + " cannot be protected as the file it replaces");
        }
        if (fstat(file.get(), &made) != 0 || (old && fsync(file.get()) != 0))
            throwNotWritable(place_.shown, errno);
        plan.undo.steps[number] = {made.st_ino, old.has_value()};
        plan.list[number] = writtenPicture(made);
    }
    for (const int64_t number : removable(place_, count_)) plan.undo.steps[number] = {0, true};
    write(newName(0), textOf(plan.list));
    struct stat made {};
    if (fstatat(hidden, newName(0).c_str(), &made, AT_SYMLINK_NOFOLLOW) != 0)
        throwNotWritable(place_.shown, errno);
    plan.undo.steps[0] = {made.st_ino, fileAt(place_, listNameOf(place_.name)).has_value()};
    return plan;
}

void StagedSequence::perform(const Plan& plan) {
    const int folder = place_.folder.get();
    const int hidden = hidden_.opened.get();
    const auto check = [&](int error, int64_t number) {
        if (error == EEXIST)
            refuseOutput(place_.shown,
                         quotedName(nameOfStep(place_, number)) + " appeared while this run was writing");
        if (error != 0) throwNotWritable(place_.shown, error);
    };
    for (const auto& [number, step] : plan.undo.steps) {
        const std::string name = nameOfStep(place_, number);
        if (step.replaces) check(renameToNew(folder, name, hidden, oldName(number)), number);
        if (step.inode != 0) check(renameToNew(hidden, newName(number), folder, name), number);
    }
    check(syncFolder(place_, hidden), 0);
    // From here on the new pictures count.
    check(unlinkat(folder, undoNameOf(place_.name).c_str(), 0) == 0 ? 0 : errno, 0);
    check(syncFolder(place_, hidden), 0);
}

void StagedSequence::commit() {
    const FolderLock lock(place_, true);
    if (lock.busy())
        refuseOutput(place_.shown, "another run is putting pictures of that name in place; try again");
    heal(place_);
    if (!force_ && !existingNumbers(place_).empty())
        refuseOutput(place_.shown, "pictures of that name already exist; add --force to replace them");
    const Plan plan = this->plan();
    write("undo", textOf(plan.undo));
    if (fsync(hidden_.opened.get()) != 0) throwNotWritable(place_.shown, errno);
    const std::string record = undoNameOf(place_.name);
    hidden_.listed.hold();  // it holds older pictures from here on
    const int noted = renameToNew(hidden_.opened.get(), "undo", place_.folder.get(), record);
    if (noted == EEXIST)
        refuseOutput(place_.shown, quotedName(record) +
                                       " of another user stands in the way; let them write the pictures, "
                                       "or remove it");
    if (noted != 0) throwNotWritable(place_.shown, noted);
    try {
        const int synced = syncFolder(place_, hidden_.opened.get());
        if (synced != 0) throwNotWritable(place_.shown, synced);
        perform(plan);
    } catch (...) {
        if (takeAllBack(place_, hidden_.opened.get(), plan.undo.steps))
            unlinkat(place_.folder.get(), record.c_str(), 0);
        else
            hidden_.name.clear();  // the next run finds the old pictures there, by the record
        throw;
    }
    int64_t staying = 0;
    for (const int64_t number : existingNumbers(place_)) staying += number > count_ ? 1 : 0;
    if (staying > 0)
        warnings_.push_back(std::to_string(staying) +
                            (staying == 1 ? " picture of a higher number stays, which"
                                          : " pictures of higher numbers stay, which") +
                            " this program did not write or somebody has changed");
}

}  // namespace tumblewash::media
