#include "edit/StartCode.h"

#include "edit/ExactTime.h"
#include "edit/Timecode.h"
#include "media/FileClock.h"
#include "media/Pattern.h"

namespace tumblewash::edit {

std::int64_t startFrameOf(const std::string& file, media::FrameRate rate) {
    if (media::isPattern(file)) return 0;
    const media::FileClock clock = media::readFileClock(file);
    const auto code = parseTimeCode(clock.timeCode);
    if (!code || !clock.rate) return 0;
    const auto frame = frameOf(*code, clock.rate, code->drop);
    return frame ? Moment::ofFrames(*frame, clock.rate).frame(rate) : 0;
}

}  // namespace tumblewash::edit
