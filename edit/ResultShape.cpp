#include "edit/ResultShape.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "edit/Errors.h"
#include "host/SessionSettings.h"
#include "media/Quoting.h"
#include "media/StillHead.h"

namespace tumblewash::edit {

using host::kMaxPictureWidth;
using host::kMinPictureSide;
using media::FrameRate;
using media::kMaxPictureSide;
using media::MediaInfo;
using media::MediaKind;
using media::probe;
using media::probeHead;
using media::quotedName;

namespace {

/// True for a show of photos without a clip that could give its size and rate.
bool showsPhotosAlone(const Edit& edit, const std::vector<MediaInfo>& infos) {
    return edit.clips.size() > 1 && !infos.empty() &&
           std::all_of(infos.begin(), infos.end(),
                       [](const MediaInfo& i) { return i.kind == MediaKind::still; });
}

/// The rates that players and encoders are made for.
constexpr FrameRate kUsualRates[] = {
    {10, 1}, {12, 1}, {25, 2},       {15, 1}, {24000, 1001}, {24, 1},        {25, 1},  {30000, 1001}, {30, 1},
    {48, 1}, {50, 1}, {60000, 1001}, {60, 1}, {100, 1},      {120000, 1001}, {120, 1}, {240, 1}};

bool isUsual(FrameRate rate) {
    return std::any_of(std::begin(kUsualRates), std::end(kUsualRates),
                       [&](FrameRate usual) { return usual.num * rate.den == rate.num * usual.den; });
}

/// The usual rate that most of the edit's other clips have; nothing when none has one. A file is looked at
/// once: what `infos` tell of it stands.
std::optional<FrameRate> rateOfOthers(const Edit& edit, const std::vector<MediaInfo>& infos,
                                      media::CancelFlag cancel) {
    std::vector<std::pair<FrameRate, int>> counts;
    for (const EditClip& clip : edit.clips) {
        if (clip.black()) continue;
        const std::string file = fileOf(edit, clip);
        const auto known = std::find_if(infos.begin(), infos.end(),
                                        [&](const MediaInfo& info) { return info.path == file; });
        if (known == infos.end() && probeHead(file)) continue;
        const FrameRate own = known != infos.end() ? known->rate : probe(file, cancel).rate;
        if (!own || !isUsual(own)) continue;
        const auto found = std::find_if(counts.begin(), counts.end(), [&](const auto& entry) {
            return entry.first.num * own.den == own.num * entry.first.den;
        });
        if (found != counts.end())
            ++found->second;
        else
            counts.emplace_back(own, 1);
    }
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == counts.end()) return std::nullopt;
    return makeRate(most->first.num, most->first.den);
}

// The largest size of this shape, with even edges.
PixelSize largestWithin(PixelSize size, int widest) {
    const double scale = std::min(
        {1.0, static_cast<double>(widest) / size.width, static_cast<double>(kMaxPictureSide) / size.height});
    const auto even = [&](int side) {
        return std::max(kMinPictureSide, 2 * static_cast<int>(side * scale / 2));
    };
    return {even(size.width), even(size.height)};
}

}  // namespace

FrameRate usualRate(FrameRate rate) {
    return *std::min_element(std::begin(kUsualRates), std::end(kUsualRates), [&](FrameRate a, FrameRate b) {
        return std::abs(a.value() - rate.value()) < std::abs(b.value() - rate.value());
    });
}

FrameRate settleRate(const Edit& edit, const std::vector<MediaInfo>& infos, media::CancelFlag cancel,
                     std::vector<std::string>& remarks) {
    if (edit.output.rate) return edit.output.rate->value;
    for (const MediaInfo& info : infos) {
        if (!info.rate) continue;
        if (info.rate.num < info.rate.den || info.rate.num > 240 * info.rate.den)
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: says it has {:.6g} frames per second, outside of 1 to 240; give --fps",
                            quotedName(info.path), info.rate.value()));
        const FrameRate own = makeRate(info.rate.num, info.rate.den);
        if (isUsual(own)) return own;
        const std::optional<FrameRate> others = rateOfOthers(edit, infos, cancel);
        if (!others && own.den == 1) return own;
        const FrameRate rate = others ? *others : usualRate(own);
        remarks.push_back(fmt::format(
            "{}: {} frames per second; the result has {}{}, --fps keeps or changes that",
            quotedName(info.path), describe(own), describe(rate), others ? ", as most clips" : ""));
        return rate;
    }
    return showsPhotosAlone(edit, infos) ? FrameRate{30, 1} : FrameRate{25, 1};
}

const MediaInfo& firstShown(const Edit& edit, const std::vector<MediaInfo>& infos) {
    static const MediaInfo kBlack = [] {
        MediaInfo info;
        info.path = "black";
        return info;
    }();
    static const MediaInfo kScreen = [] {
        MediaInfo info;
        info.path = "photos";
        info.width = 1920;
        info.height = 1080;
        return info;
    }();
    if (showsPhotosAlone(edit, infos)) return kScreen;
    for (const MediaInfo& info : infos)
        if (info.kind == MediaKind::clip) return info;
    if (!infos.empty()) return infos.front();
    if (!edit.output.size) throw Refusal(Problem::BadRequest, "black alone has no size; give --size");
    return kBlack;
}

PixelSize settleSize(const std::optional<PixelSize>& asked, const MediaInfo& first, Edges edges,
                     Reach reach) {
    const PixelSize own{first.width, first.height};
    const PixelSize size = asked ? *asked : edges == Edges::Any ? own : evenSize(own);
    const std::string whose =
        asked ? fmt::format("--size {}", describe(size))
              : fmt::format("{}: the picture is {}", quotedName(first.path), describe(size));
    if (size.width < kMinPictureSide || size.height < kMinPictureSide)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{}: both edges must be {} or more; give a larger --size", whose, kMinPictureSide));
    const int widest = reach == Reach::Effects ? kMaxPictureWidth : kMaxPictureSide;
    if (size.width > widest || size.height > kMaxPictureSide)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: {} reach {} pixels across and {} down; give --size {}", whose,
                                  reach == Reach::Effects ? "effects" : "pictures", widest, kMaxPictureSide,
                                  describe(largestWithin(size, widest))));
    if (edges == Edges::OnlyEven && evenSize(size) != size)
        throw Refusal(Problem::BadRequest, fmt::format("{}: movies need even edges; give --size {}", whose,
                                                       describe(evenSize(size))));
    return size;
}

int channelsFor(const Edit& edit, const std::vector<MediaInfo>& infos) {
    const ChannelChoice choice = edit.channels;
    if (choice != ChannelChoice::keep) return choice == ChannelChoice::mono ? 1 : 2;
    const auto all = [&](auto is) {
        bool any = false;
        for (const MediaInfo& info : infos) {
            if (!info.hasAudio) continue;
            if (!is(info)) return false;
            any = true;
        }
        return any;
    };
    if (!edit.music && all([](const MediaInfo& info) { return info.channels == 1; })) return 1;
    if (all([](const MediaInfo& info) {
            return info.channelLayout.starts_with("5.1") && info.channels == 6;
        }))
        return 6;
    return 2;
}

}  // namespace tumblewash::edit
