// The shape of a result: its size, its rate and its number of channels, out of what was asked for and what
// the clips have. It opens no clips for rendering and knows no plan.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/Edit.h"
#include "media/MediaError.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// Which sizes a result may have.
enum class Edges {
    Any,         ///< an odd input keeps its size
    PreferEven,  ///< an odd input grows by one; an odd size that was asked for stays
    OnlyEven     ///< an odd input grows by one; an odd size that was asked for is refused
};

/// What a result's pictures pass through, which limits its size.
enum class Reach {
    Effects,  ///< transitions, whose worlds have a greatest width
    Cuts      ///< nothing: pictures are copied as they are
};

/// The rate nearest to `rate` of those that players and encoders are made for; `rate` itself where it is one
/// of them.
media::FrameRate usualRate(media::FrameRate rate);

/// The size of a result: the one asked for, else the first input's display size. Refuses sizes outside the
/// limits, and names the largest of that shape which fits.
PixelSize settleSize(const std::optional<PixelSize>& asked, const media::MediaInfo& first, Edges edges,
                     Reach reach = Reach::Effects);

/// The rate asked for, else the first clip's. One that no player is made for, as phones write them, becomes
/// that of most other clips, else the nearest usual one, unless it is a whole number; which is said in
/// `remarks`. `infos` are the facts of the first clips, up to one that moves. Throws Refusal for a rate
/// outside of 1 to 240.
media::FrameRate settleRate(const Edit& edit, const std::vector<media::MediaInfo>& infos,
                            media::CancelFlag cancel, std::vector<std::string>& remarks);

/// What gives the result its size: the first clip, and of photos alone a screen as all have it; one photo
/// alone keeps its own. Throws Refusal when there is nothing but black and no size was asked for.
const media::MediaInfo& firstShown(const Edit& edit, const std::vector<media::MediaInfo>& infos);

/// How many channels the sound of these clips is given, as the edit asks: 1, 2 or 6.
int channelsFor(const Edit& edit, const std::vector<media::MediaInfo>& infos);

}  // namespace tumblewash::edit
