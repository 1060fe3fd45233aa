#include "Utility/PluginUtils.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "platform/Carbon.h"
#include "platform/Utf8.h"

namespace {

constexpr GWorldFlags kNoSavedState = std::numeric_limits<GWorldFlags>::min();
constexpr SInt32 kModernSystem = 0x1000;
constexpr float kSmallestText = 1.0F;
constexpr float kLargestText = 1000.0F;
constexpr RGBColor kBlack{0, 0, 0};
constexpr RGBColor kWhite{0xFFFF, 0xFFFF, 0xFFFF};

bool usable(PixMapHandle map) {
    return tumblewash::platform::IsLiveHandle(reinterpret_cast<Handle>(map));
}

CGrafPtr currentPort() {
    CGrafPtr port = nullptr;
    GetGWorld(&port, nullptr);
    return port;
}

}  // namespace

StGWorldLock::StGWorldLock(GWorldPtr world)
    : mGWorld(world),
      mPixMapHandle(world != nullptr ? GetGWorldPixMap(world) : nullptr),
      mPixelState(mPixMapHandle != nullptr ? GetPixelsState(mPixMapHandle) : kNoSavedState) {
    if (mPixMapHandle != nullptr) LockPixels(mPixMapHandle);
}

void StGWorldLock::Restore() {
    if (mPixMapHandle == nullptr || mPixelState < 0) return;
    SInt32 version = 0;
    const bool modern = Gestalt(gestaltSystemVersion, &version) != noErr || version >= kModernSystem;
    const bool gone = reinterpret_cast<Ptr>(*mPixMapHandle) == tumblewash::platform::DisposedMaster();
    if (!(modern && gone)) SetPixelsState(mPixMapHandle, mPixelState);
}

StColorPush::StColorPush(const RGBColor* foreground, const RGBColor* background) {
    Save();
    RGBForeColor(foreground);
    RGBBackColor(background);
}

void StColorPush::Save() {
    GetForeColor(&mForeground);
    GetBackColor(&mBackground);
}

void StColorPush::Restore() {
    RGBForeColor(&mForeground);
    RGBBackColor(&mBackground);
}

StFontPush::StFontPush(std::int16_t font, std::int16_t size) {
    Save();
    TextFont(font);
    TextSize(size);
}

void StFontPush::Save() {
    mFont = GetPortTextFont(currentPort());
    mSize = GetPortTextSize(currentPort());
}

void StFontPush::Restore() {
    TextFont(mFont);
    TextSize(mSize);
}

void CopyGWorldBits(GWorldPtr source, GWorldPtr destination, const Rect* sourceRect,
                    const Rect* destinationRect) {
    StGWorldLock sourceLock(source);
    StGWorldLock destinationLock(destination);
    CopyBits(GetPortBitMapForCopyBits(source), GetPortBitMapForCopyBits(destination), sourceRect,
             destinationRect, srcCopy, nullptr);
    destinationLock.Restore();
    sourceLock.Restore();
}

void CopyGWorldBits(GWorldPtr source, GWorldPtr destination) {
    Rect sourceRect, destinationRect;
    CopyGWorldBits(source, destination, GetPortBounds(source, &sourceRect),
                   GetPortBounds(destination, &destinationRect));
}

HYPluginResult DuplicateGWorld(GWorldPtr source, GWorldPtr& copy) {
    Rect bounds;
    GetPortBounds(source, &bounds);
    if (NewGWorld(&copy, 32, &bounds, nullptr, nullptr, 0) != noErr) return kPluginOutOfMemory;
    CopyGWorldBits(source, copy);
    return kPluginOK;
}

void CopyPMH(PixMapHandle source, PixMapHandle destination) {
    if (!usable(source) || !usable(destination)) return;
    CopyBits(*source, *destination, &(*source)->bounds, &(*destination)->bounds, srcCopy, nullptr);
}

OSErr CreateOddAndEvenPixMapHandles(PixMapHandle frame, InterlacedPMH& fields, const Rect* rect) {
    if (frame == nullptr) return paramErr;
    if (usable(frame) && ((*frame)->rowBytes & kRowBytesMask) * 2 > kRowBytesMask) return paramErr;
    fields = InterlacedPMH{frame, frame};
    if (const OSErr error = HandToHand(reinterpret_cast<Handle*>(&fields.even)); error != noErr) return error;
    if (const OSErr error = HandToHand(reinterpret_cast<Handle*>(&fields.odd)); error != noErr) return error;

    const PixMap& whole = **frame;
    const Rect r = rect != nullptr ? *rect : whole.bounds;
    const int stride = whole.rowBytes & kRowBytesMask;
    const int height = std::abs(r.bottom - r.top);
    for (PixMap* field : {*fields.even, *fields.odd}) {
        field->rowBytes = static_cast<std::int16_t>((stride * 2) | (whole.rowBytes & ~kRowBytesMask));
        field->bounds.bottom = static_cast<std::int16_t>(field->bounds.top + height / 2);
    }
    if (height % 2 != 0) ++(*fields.even)->bounds.bottom;
    (*fields.odd)->baseAddr = whole.baseAddr + (r.left + static_cast<std::ptrdiff_t>(stride) * (r.top + 1));
    return noErr;
}

void ReleaseOddAndEvenPixMapHandles(InterlacedPMH& fields) {
    for (PixMapHandle* field : {&fields.odd, &fields.even}) {
        if (*field != nullptr) DisposeHandle(reinterpret_cast<Handle>(*field));
        *field = nullptr;
    }
}

void CopyInterlacedPMH(InterlacedPMH& source, InterlacedPMH& destination, std::int32_t mask) {
    StColorPush plain(&kBlack, &kWhite);
    if ((mask & 1) != 0) CopyPMH(source.even, destination.even);
    if ((mask & 2) != 0) CopyPMH(source.odd, destination.odd);
    plain.Restore();
}

void CopyGWorldBitsInterlaced(GWorldPtr source, GWorldPtr destination) {
    StGWorldLock sourceLock(source);
    StGWorldLock destinationLock(destination);
    InterlacedPMH from{}, to{};
    if (CreateOddAndEvenPixMapHandles(GetGWorldPixMap(source), from) == noErr &&
        CreateOddAndEvenPixMapHandles(GetGWorldPixMap(destination), to) == noErr) {
        CopyInterlacedPMH(from, to, 3);
        ReleaseOddAndEvenPixMapHandles(from);
        ReleaseOddAndEvenPixMapHandles(to);
    }
    destinationLock.Restore();
    sourceLock.Restore();
}

void GetStringFromResource(std::int16_t list, std::int16_t index, char* destination) {
    Str255 text;
    GetIndString(text, list, index);
    if (text[0] > 0) std::memcpy(destination, text + 1, text[0]);
}

void AddSlider(_PluginParams* params, std::int16_t slider, std::int16_t labelList, std::int16_t limitList,
               float defaultValue) {
    if (params == nullptr || slider < 0 || slider > 2) return;
    const auto fill = [](char(&label)[128], std::int16_t list, int index) {
        char text[256] = {};
        GetStringFromResource(list, static_cast<std::int16_t>(index), text);
        if (text[0] == 0) return;
        const std::string_view part = tumblewash::platform::Utf8Prefix(text, sizeof label - 1);
        *std::copy(part.begin(), part.end(), label) = 0;
    };
    HYPluginFilterSliderInfo& info = params->getInfo2.filterSliders[slider];
    info.defaultValue = defaultValue;
    fill(info.label, labelList, slider + 1);
    fill(info.minLabel, limitList, 2 * slider + 1);
    fill(info.maxLabel, limitList, 2 * slider + 2);
}

std::int16_t StringLength(const char* text, std::int16_t font) {
    if (text == nullptr) return 0;
    const ScriptCode script = FontToScript(font);
    // In a script of two bytes a character's second byte may look like a first one: only what stands before
    // it tells, so the text is told from its start. Offsets have 16 bits; a longer text goes on from a
    // character.
    constexpr short lastOffset = std::numeric_limits<short>::max();
    int count = 0;
    short offset = 0;
    for (const char* at = text; *at != 0; ++at) {
        const short type = CharacterByteType(text, offset, script);
        const bool begins = type == smSingleByte || type == smFirstByte;
        if (begins) ++count;
        if (begins && offset > lastOffset / 2) {
            text = at;
            offset = 0;
        }
        ++offset;
    }
    return static_cast<std::int16_t>(std::min<int>(count, std::numeric_limits<std::int16_t>::max()));
}

std::int16_t CalculateTextSize(_HYProcs* procs, ConstStr255Param text, std::int16_t font, float size,
                               std::int16_t maxWidth, short& result) {
    if (procs == nullptr || text == nullptr) return 0;
    const auto limited = [](float v) {
        return v > kSmallestText ? std::min(v, kLargestText) : kSmallestText;
    };
    const auto rounded = [](float v) { return static_cast<short>(std::lround(v)); };
    const auto widthAt = [&](int pixels) {
        TextSize(static_cast<short>(pixels));
        return procs->StringWidth(text);
    };
    size = limited(size);
    StFontPush style(font, rounded(size));
    short pixels = rounded(size);
    int width = widthAt(pixels);
    for (int round = 0; round < 5 && width > maxWidth; ++round) {
        size = limited(size * static_cast<float>(maxWidth) / static_cast<float>(width) - 0.5F);
        pixels = rounded(size);
        width = widthAt(pixels);
    }
    if (width > 0 && width <= maxWidth) {
        while (pixels < static_cast<short>(kLargestText) && widthAt(pixels + 1) <= maxWidth) ++pixels;
    }
    result = pixels;

    TextSize(pixels);
    short highest = 0, lowest = 0;
    const bool measured = OutlineMetrics(text[0], text + 1, Point{1, 1}, Point{1, 1}, &highest, &lowest,
                                         nullptr, nullptr, nullptr) == noErr;
    style.Restore();
    return measured ? static_cast<std::int16_t>(highest - lowest) : std::int16_t{0};
}

void FindLongestTitleInfo(_HYProcs* procs, _HYPluginTitleInfo* titleInfo, int& longestTitle,
                          int& longestSubTitle, int& longestPair) {
    longestTitle = longestSubTitle = longestPair = 0;
    if (procs == nullptr || titleInfo == nullptr) return;
    StFontPush style(titleInfo->fontID, 24);
    const auto measure = [&](char* text, int previous) {
        if (text == nullptr) return previous;
        const StringPtr counted = procs->ctopstr(text);
        const int width = procs->StringWidth(counted);
        procs->ptocstr(counted);
        return width;
    };
    const auto keepWidest = [](int width, int pair, int& widest, int& index) {
        if (width <= widest) return;
        widest = width;
        index = pair;
    };
    int title = 0, subTitle = 0;
    int widestTitle = 0, widestSubTitle = 0, widestPair = 0;
    for (int pair = 0; pair < titleInfo->pairCount; ++pair) {
        title = measure(titleInfo->pairs[pair].title, title);
        subTitle = measure(titleInfo->pairs[pair].subTitle, subTitle);
        keepWidest(title, pair, widestTitle, longestTitle);
        keepWidest(subTitle, pair, widestSubTitle, longestSubTitle);
        keepWidest(title + subTitle, pair, widestPair, longestPair);
    }
    style.Restore();
}

void ApplyTitleBlur(GWorldPtr, GWorldPtr, Rect) {}

void ApplyTitleBlurFade(GWorldPtr, GWorldPtr, Rect) {}
