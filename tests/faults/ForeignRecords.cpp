// The C program's records against the plug-in's own, and the platform services that it calls.

#include "hostapi/HYPlugin.h"
#include "platform/Carbon.h"
#include "tests/faults/foreign_records.h"

#define SAME_SIZE(a, b) static_assert(sizeof(a) == sizeof(b))
#define SAME_PLACE(a, x, b, y) static_assert(offsetof(a, x) == offsetof(b, y))

SAME_SIZE(foreign_params, _PluginParams);
SAME_SIZE(foreign_procs, _HYProcs);
SAME_SIZE(foreign_clip, HYPluginClipInfo);
SAME_SIZE(foreign_transition, HYPluginTransitionInfo);
SAME_SIZE(foreign_get_info, HYPluginGetInfo);
SAME_SIZE(foreign_get_info2, HY2PluginGetInfo);
SAME_SIZE(foreign_get_info3, HY3PluginGetInfo);
SAME_SIZE(foreign_slider, HY4PluginGetInfo);
SAME_SIZE(foreign_rect, Rect);
SAME_PLACE(foreign_params, version, _PluginParams, interfaceVersion);
SAME_PLACE(foreign_params, instance, _PluginParams, instance);
SAME_PLACE(foreign_params, selector, _PluginParams, selector);
SAME_PLACE(foreign_params, procs, _PluginParams, procs);
SAME_PLACE(foreign_params, info, _PluginParams, getInfo);
SAME_PLACE(foreign_params, start_frame, _PluginParams, startFrame);
SAME_PLACE(foreign_params, render_frame, _PluginParams, renderFrame);
SAME_PLACE(foreign_params, frame_count, _PluginParams, frameCount);
SAME_PLACE(foreign_params, proxy, _PluginParams, proxyOnly);
SAME_PLACE(foreign_params, frame_rect, _PluginParams, frameRect);
SAME_PLACE(foreign_params, frame, _PluginParams, frame);
SAME_PLACE(foreign_params, client_data, _PluginParams, clientData);
SAME_PLACE(foreign_params, info2, _PluginParams, getInfo2);
SAME_PLACE(foreign_params, info3, _PluginParams, getInfo3);
SAME_PLACE(foreign_params, info4, _PluginParams, getInfo4);
SAME_PLACE(foreign_procs, new_ptr_clear, _HYProcs, NewPtrClear);
SAME_PLACE(foreign_procs, dispose_ptr, _HYProcs, DisposePtr);
SAME_PLACE(foreign_procs, pstrcpy, _HYProcs, pstrcpy);
SAME_PLACE(foreign_procs, get_string, _HYProcs, GetLocalizedString);
SAME_PLACE(foreign_procs, get_frame, _HYProcs, GetFrame);
SAME_PLACE(foreign_procs, release_frame, _HYProcs, ReleaseFrame);
SAME_PLACE(foreign_procs, get_clip, _HYProcs, GetClipInfo);
SAME_PLACE(foreign_procs, set_clip, _HYProcs, SetClipInfo);
SAME_PLACE(foreign_procs, blit, _HYProcs, Blit);
SAME_PLACE(foreign_procs, get_transition, _HYProcs, GetTransitionInfo);
SAME_PLACE(foreign_procs, release_transition, _HYProcs, ReleaseTransitionInfo);
SAME_PLACE(foreign_procs, mix_audio, _HYProcs, MixAudio);
SAME_PLACE(foreign_get_info, frames, HYPluginGetInfo, framesToBeRendered);
SAME_PLACE(foreign_get_info, must_take_single, HYPluginGetInfo, mustTakeFromSingleClips);
SAME_PLACE(foreign_get_info, direction, HYPluginGetInfo, defaultDirection);
SAME_PLACE(foreign_transition, direction, HYPluginTransitionInfo, ver2);
SAME_PLACE(foreign_clip, fade_out_frames, HYPluginClipInfo, ver2.fadeOutFrames);
SAME_PLACE(foreign_clip, ref, HYPluginClipInfo, ver4.clipRef);

void* foreign_new_world(void* pixels, int width, int height) {
    const Rect bounds{0, 0, static_cast<std::int16_t>(height), static_cast<std::int16_t>(width)};
    GWorldPtr world = nullptr;
    return tumblewash::platform::NewGWorldOver(&world, pixels, width * 4, &bounds) == noErr ? world : nullptr;
}

void foreign_dispose_world(void* world) {
    DisposeGWorld(static_cast<GWorldPtr>(world));
}

foreign_result foreign_blend(const void* source, const void* destination, const foreign_rect* from,
                             const foreign_rect* to, int16_t level) {
    const OSErr error = tumblewash::platform::BlendRect(
        static_cast<const PixMap*>(source), static_cast<const PixMap*>(destination),
        reinterpret_cast<const Rect*>(from), reinterpret_cast<const Rect*>(to), level);
    return error == noErr ? kPluginOK : kPluginBadParams;
}
