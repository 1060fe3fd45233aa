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

    /// Each of these answers the callback of the same name.
    virtual HYPluginResult getFrame(std::int32_t number, int width, int height, HYRefDVQuality quality,
                                    GWorldPtr& world, std::int16_t& volume, HYFrameCookie& cookie);
    /// As the callback of the same name.
    virtual HYPluginResult releaseFrame(HYFrameCookie cookie);
    /// As the callback of the same name.
    virtual HYPluginResult mixAudio(HYFrameCookie cookie, std::int16_t level);
    /// As the callback of the same name.
    virtual HYPluginResult getAudioFrame(std::int32_t number, std::int16_t*& samples, std::int32_t& count,
                                         HYAudioCookie& cookie);
    /// As the callback of the same name.
    virtual HYPluginResult releaseAudioFrame(HYAudioCookie cookie);
    /// As the callback of the same name.
    virtual HYPluginResult getMovieInfo(HYPluginMovieInfo& info);
    /// As the callback of the same name.
    virtual HYPluginResult getClipInfo(std::int16_t clip, HYPluginClipInfo& info);
    /// As the callback of the same name.
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
