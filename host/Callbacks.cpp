#include "host/Callbacks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "host/HostError.h"
#include "host/TextCallbacks.h"
#include "platform/CopyBits.h"
#include "platform/Resources.h"

namespace tumblewash::host {

namespace {

/// Runs a request; what it throws becomes a result, since the plug-in knows no exceptions.
template <class Request>
HYPluginResult guarded(Request request) {
    try {
        return request();
    } catch (const HostError& error) {
        return error.code() == kPluginOK ? kPluginFailed : error.code();
    } catch (const std::bad_alloc&) {
        return kPluginOutOfMemory;
    } catch (...) {
        return kPluginFailed;
    }
}

template <class Request>
HYPluginResult serve(HYPluginInstance instance, Request request) {
    if (instance == nullptr) return kPluginBadParams;
    return guarded([&] { return request(*static_cast<HostInstance*>(instance)); });
}

// Memory and strings.

void* newPtr(std::int32_t size) {
    return size < 0 ? nullptr : std::malloc(std::max<std::size_t>(1, static_cast<std::size_t>(size)));
}

void* newPtrClear(std::int32_t size) {
    return size < 0 ? nullptr : std::calloc(1, std::max<std::size_t>(1, static_cast<std::size_t>(size)));
}

HYPluginResult disposePtr(void* block) {
    std::free(block);
    return kPluginOK;
}

char* pToC(StringPtr text) {
    if (text == nullptr) return nullptr;
    const std::size_t length = text[0];
    std::memmove(text, text + 1, length);
    text[length] = 0;
    return reinterpret_cast<char*>(text);
}

StringPtr cToP(char* text) {
    if (text == nullptr) return nullptr;
    const std::size_t length = std::min<std::size_t>(std::strlen(text), 255);
    std::memmove(text + 1, text, length);
    text[0] = static_cast<char>(length);
    return reinterpret_cast<StringPtr>(text);
}

HYPluginResult copyPString(StringPtr destination, ConstStr255Param source) {
    if (destination == nullptr || source == nullptr) return kPluginBadParams;
    std::memmove(destination, source, source[0] + std::size_t{1});
    return kPluginOK;
}

char* copyCString(char* destination, const char* source) {
    if (destination == nullptr || source == nullptr) return destination;
    std::memmove(destination, source, std::strlen(source) + 1);
    return destination;
}

std::int32_t lengthOf(const char* text) {
    return text == nullptr ? 0 : static_cast<std::int32_t>(std::strlen(text));
}

HYPluginResult getLocalizedString(StringPtr destination, std::int16_t list, std::int16_t index) {
    if (destination == nullptr) return kPluginBadParams;
    destination[0] = 0;
    return guarded([&] {
        GetIndString(destination, list, index);
        return kPluginOK;
    });
}

HYPluginResult blit(const PixMap* source, const PixMap* destination, const Rect* from, const Rect* to,
                    std::int16_t level) {
    return platform::BlendRect(source, destination, from, to, level) == noErr ? kPluginOK : kPluginBadParams;
}

// Frames, sound, clips.

HYPluginResult getFrame(HYPluginInstance instance, std::int32_t number, GWorldPtr* world, std::int16_t width,
                        std::int16_t height, HYRefDVQuality quality, std::int16_t* volume,
                        HYFrameCookie* cookie) {
    if (world == nullptr || volume == nullptr || cookie == nullptr) return kPluginBadParams;
    *world = nullptr;
    *cookie = nullptr;
    return serve(instance, [&](HostInstance& host) {
        return host.getFrame(number, width, height, quality, *world, *volume, *cookie);
    });
}

HYPluginResult releaseFrame(HYPluginInstance instance, HYFrameCookie cookie) {
    return serve(instance, [&](HostInstance& host) { return host.releaseFrame(cookie); });
}

HYPluginResult getAudioFrame(HYPluginInstance instance, std::int32_t number, std::int16_t** samples,
                             std::int32_t* count, HYAudioCookie* cookie) {
    if (samples == nullptr || count == nullptr || cookie == nullptr) return kPluginBadParams;
    *samples = nullptr;
    *count = 0;
    *cookie = nullptr;
    return serve(instance,
                 [&](HostInstance& host) { return host.getAudioFrame(number, *samples, *count, *cookie); });
}

HYPluginResult releaseAudioFrame(HYPluginInstance instance, HYAudioCookie cookie) {
    return serve(instance, [&](HostInstance& host) { return host.releaseAudioFrame(cookie); });
}

HYPluginResult getMovieInfo(HYPluginInstance instance, HYPluginMovieInfo* info) {
    if (info == nullptr) return kPluginBadParams;
    return serve(instance, [&](HostInstance& host) { return host.getMovieInfo(*info); });
}

HYPluginResult getClipInfo(HYPluginInstance instance, std::int16_t clip, HYPluginClipInfo* info) {
    if (info == nullptr) return kPluginBadParams;
    return serve(instance, [&](HostInstance& host) { return host.getClipInfo(clip, *info); });
}

HYPluginResult setClipInfo(HYPluginInstance instance, const HYPluginClipInfo* info) {
    if (info == nullptr) return kPluginBadParams;
    return serve(instance, [&](HostInstance& host) { return host.setClipInfo(*info); });
}

HYPluginResult mixAudio(HYPluginInstance instance, HYFrameCookie cookie, std::int16_t level) {
    return serve(instance, [&](HostInstance& host) { return host.mixAudio(cookie, level); });
}

// Records: one loan each way, the record itself is the instance's.

template <auto Record>
using RecordOf = std::remove_reference_t<decltype(std::declval<HostInstance&>().*Record)>;

template <auto Record>
HYPluginResult lendRecord(HYPluginInstance instance, RecordOf<Record>** info) {
    if (info == nullptr) return kPluginBadParams;
    *info = nullptr;
    return serve(instance, [&](HostInstance& host) {
        *info = &(host.*Record);
        ++host.recordsLent;
        return kPluginOK;
    });
}

template <auto Record>
HYPluginResult takeRecord(HYPluginInstance instance, RecordOf<Record>* info) {
    return serve(instance, [&](HostInstance& host) {
        if (info != &(host.*Record) || host.recordsLent == 0) return kPluginBadParams;
        --host.recordsLent;
        return kPluginOK;
    });
}

constexpr _HYProcs kProcs{
    .NewPtr = newPtr,
    .NewPtrClear = newPtrClear,
    .DisposePtr = disposePtr,
    .ptocstr = pToC,
    .ctopstr = cToP,
    .pstrcpy = copyPString,
    .strcpy = copyCString,
    .strlen = lengthOf,
    .GetLocalizedString = getLocalizedString,
    .GetFrame = getFrame,
    .ReleaseFrame = releaseFrame,
    .GetAudioFrame = getAudioFrame,
    .ReleaseAudioFrame = releaseAudioFrame,
    .GetMovieInfo = getMovieInfo,
    .GetClipInfo = getClipInfo,
    .SetClipInfo = setClipInfo,
    .Blit = blit,
    .FillRect = callbacks::fillRect,
    .TextBounds = callbacks::textBounds,
    .DrawText = callbacks::drawText,
    .GetTitleInfo = lendRecord<&HostInstance::title>,
    .ReleaseTitleInfo = takeRecord<&HostInstance::title>,
    .GetTransitionInfo = lendRecord<&HostInstance::transition>,
    .ReleaseTransitionInfo = takeRecord<&HostInstance::transition>,
    .MixAudio = mixAudio,
    .GetFilterInfo = lendRecord<&HostInstance::filter>,
    .ReleaseFilterInfo = takeRecord<&HostInstance::filter>,
    .StringWidth = callbacks::stringWidth,
    .CGDrawText = callbacks::cgDrawText,
    .CGStringWidth = callbacks::cgStringWidth,
};

}  // namespace

void HostInstance::prepare(HYPluginParams& params) {
    procs_ = kProcs;
    params = HYPluginParams{};
    params.interfaceVersion = 4;
    params.instance = this;
    params.procs = &procs_;
}

HYPluginResult HostInstance::getFrame(std::int32_t, int, int, HYRefDVQuality, GWorldPtr&, std::int16_t&,
                                      HYFrameCookie&) {
    return kPluginCantGetNeededFrame;
}
HYPluginResult HostInstance::releaseFrame(HYFrameCookie) {
    return kPluginBadParams;
}
HYPluginResult HostInstance::mixAudio(HYFrameCookie, std::int16_t) {
    return kPluginBadParams;
}
HYPluginResult HostInstance::getAudioFrame(std::int32_t, std::int16_t*&, std::int32_t&, HYAudioCookie&) {
    return kPluginCantGetNeededFrame;
}
HYPluginResult HostInstance::releaseAudioFrame(HYAudioCookie) {
    return kPluginBadParams;
}
HYPluginResult HostInstance::getMovieInfo(HYPluginMovieInfo&) {
    return kPluginBadParams;
}
HYPluginResult HostInstance::getClipInfo(std::int16_t, HYPluginClipInfo&) {
    return kPluginBadParams;
}
HYPluginResult HostInstance::setClipInfo(const HYPluginClipInfo&) {
    return kPluginBadParams;
}

}  // namespace tumblewash::host
