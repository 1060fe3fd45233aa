// One frame of the transitions that draw one picture, moved, over another: the steps that the distortion and
// the tumble share, from borrowing the frames to giving them back. Not what moves the picture: each of the
// two drivers brings that, and its log texts, as a record.
#pragma once

#include "hostapi/HYPlugin.h"
#include "platform/Types.h"

namespace tumblewash::plugin {

/// What the geometry is handed: two frames of the same layout and the place in the effect.
struct GeometryCall {
    _EffectData* state;     ///< the transition's state
    unsigned char* source;  ///< the picture that moves
    unsigned char* effect;  ///< the scratch frame, holding the background
    int dwidth;             ///< pixels per row in memory, of both
    int width;              ///< visible width
    int height;             ///< rows
    float percent;          ///< fraction of the effect
    bool progressive;       ///< the request is a preview of one progressive picture
};

/// How one driver differs from the other. A null log text is not logged.
struct TwoClipStyle {
    bool needsField;                   ///< refuse a state without a displacement field
    const char* pinFirst;              ///< log line of this step
    const char* pinSecond;             ///< log line of this step
    const char* pinDestination;        ///< log line of this step
    const char* makeEffect;            ///< log line of this step
    const char* pinEffect;             ///< log line of this step
    const char* takeAddresses;         ///< log line of this step
    const char* unpinSources;          ///< log line of this step
    const char* unpinEffect;           ///< log line of this step
    const char* unpinDestination;      ///< log line of this step
    const char* releaseFrames;         ///< log line of this step
    const char* releaseEffect;         ///< log line of this step
    void (*announce)(double percent);  ///< log before the drawing
    void (*copyBackground)(GWorldPtr from, GWorldPtr effect,
                           const Rect* bounds);        ///< whole world to whole world
    void (*moveThePicture)(const GeometryCall& call);  ///< the geometry
    void (*present)(GWorldPtr effect, GWorldPtr destination, const Rect* from,
                    const Rect* to);  ///< puts the finished picture into the destination
};

/// Renders the frame that `params` asks for. `percent`, `overnext` and `reveal` as in `TransitionDistort`.
/// Failures leave behind what was borrowed and locked so far: a host that retries asks for its frames again.
[[nodiscard]] HYPluginResult renderTwoClips(_PluginParams* params, bool overnext, double percent, bool reveal,
                                            const TwoClipStyle& style);

}  // namespace tumblewash::plugin
