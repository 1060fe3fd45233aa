// The thirty functions through which the plug-in reaches its host, and whom they serve.
// Each checks its arguments, finds the instance and hands over; no exception passes back into the plug-in.
// Internal to this room: Session is the face of it.
#pragma once

#include <cstdint>

#include "hostapi/HYPlugin.h"
#include "platform/Types.h"

namespace tumblewash::host {

/// The host's side of one transition. Every request is refused unless a derived class serves it; the records
/// of transition, title and filter are lent from here, each loan counted.
class HostInstance {
  public:
    HostInstance() = default;
    virtual ~HostInstance() = default;
    HostInstance(const HostInstance&) = delete;
    HostInstance& operator=(const HostInstance&) = delete;

    /// `GetFrame`: lends a frame. These functions do the work of the callbacks.
    virtual HYPluginResult getFrame(std::int32_t number, int width, int height, HYRefDVQuality quality,
                                    GWorldPtr& world, std::int16_t& volume, HYFrameCookie& cookie);
    /// `ReleaseFrame`: ends the loan of a frame.
    virtual HYPluginResult releaseFrame(HYFrameCookie cookie);
    /// `MixAudio`: the level, 0 to 256, at which the sound of a lent frame plays.
    virtual HYPluginResult mixAudio(HYFrameCookie cookie, std::int16_t level);
    /// `GetAudioFrame`: lends the samples of a frame.
    virtual HYPluginResult getAudioFrame(std::int32_t number, std::int16_t*& samples, std::int32_t& count,
                                         HYAudioCookie& cookie);
    /// `ReleaseAudioFrame`: ends the loan of samples.
    virtual HYPluginResult releaseAudioFrame(HYAudioCookie cookie);
    /// `GetMovieInfo`: fills in the facts of the movie.
    virtual HYPluginResult getMovieInfo(HYPluginMovieInfo& info);
    /// `GetClipInfo`: fills in the record of a clip.
    virtual HYPluginResult getClipInfo(std::int16_t clip, HYPluginClipInfo& info);
    /// `SetClipInfo`: takes the record of a clip as the plug-in changed it.
    virtual HYPluginResult setClipInfo(const HYPluginClipInfo& info);

    /// A parameter block that leads back to this instance: interface version 4, everything else zero but the
    /// table, of which every block has its own copy.
    void prepare(HYPluginParams& params);

    HYPluginTransitionInfo transition{};  ///< what `GetTransitionInfo` lends
    HYPluginTitleInfo title{};            ///< A transition has no text: no pairs.
    HYPluginFilterInfo filter{};          ///< what `GetFilterInfo` lends
    int recordsLent = 0;                  ///< Transition, title and filter records out at the moment.

  private:
    _HYProcs procs_{};
};

}  // namespace tumblewash::host
