// A scripted host for tests: it lends frames, records every callback with its arguments and every log text in
// one list, fails any callback at any call with any code, and counts what is lent, locked and allocated. It
// is no real host: it paints its own frames, mixes no sound and serves one request at a time, on one thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "hostapi/HYPlugin.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/Transitions.h"
#include "pluginDistort/v1/process_init.h"

namespace tumblewash::test {

/// A world over memory of its own, with a stride that may be wider than the picture.
class TestWorld {
  public:
    TestWorld(int width, int height, int stride, int left = 0, int top = 0)
        : width_(width), height_(height), stride_(stride) {
        bytes_.assign(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) * 4, 0);
        Rect bounds{};
        SetRect(&bounds, static_cast<short>(left), static_cast<short>(top), static_cast<short>(left + width),
                static_cast<short>(top + height));
        if (platform::NewGWorldOver(&world_, bytes_.data(), stride * 4, &bounds) != noErr)
            throw std::bad_alloc();
    }
    ~TestWorld() { DisposeGWorld(world_); }
    TestWorld(const TestWorld&) = delete;
    TestWorld& operator=(const TestWorld&) = delete;

    GWorldPtr world() const { return world_; }
    int width() const { return width_; }
    int height() const { return height_; }
    int stride() const { return stride_; }
    /// Every byte of the memory, padding included.
    std::vector<std::uint8_t>& bytes() { return bytes_; }
    /// The four bytes of pixel (x, y), counted from the top left.
    std::uint8_t* pixel(int x, int y) {
        return bytes_.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(stride_) +
                                static_cast<std::size_t>(x)) *
                                   4;
    }
    /// True while the map's handle or its pixels are held.
    bool locked() const {
        const PixMapHandle map = GetGWorldPixMap(world_);
        return (HGetState(reinterpret_cast<Handle>(map)) & kHandleLocked) != 0 ||
               (GetPixelsState(map) & pixelsLocked) != 0;
    }

  private:
    int width_, height_, stride_;
    std::vector<std::uint8_t> bytes_;
    GWorldPtr world_ = nullptr;
};

/// Paints a picture that differs in every pixel and every frame number, alpha 255.
inline void paintTestPicture(int frame, TestWorld& world) {
    const auto number = static_cast<unsigned>(frame);  // frame numbers reach the ends of their range
    for (int y = 0; y < world.height(); ++y) {
        for (int x = 0; x < world.width(); ++x) {
            std::uint8_t* p = world.pixel(x, y);
            p[0] = 255;
            p[1] = static_cast<std::uint8_t>(static_cast<unsigned>(x * 5) + number * 17);
            p[2] = static_cast<std::uint8_t>(static_cast<unsigned>(y * 7) + number * 29);
            p[3] = static_cast<std::uint8_t>(static_cast<unsigned>(x * 3 + y * 11) + number * 41);
        }
    }
}

class FakeHost {
  public:
    using Entry = int (*)(short, HYPluginParams*);

    /// What one frame looks like when it is lent.
    struct FrameShape {
        int width, height, stride;
        int left = 0, top = 0;
    };

    /// A host with a destination of the given size and a transition of `frames` frames that starts at frame
    /// 100.
    FakeHost(int width, int height, int frames = 10, Entry entry = HYPluginEntry)
        : destination_(std::make_unique<TestWorld>(width, height, width)), entry_(entry) {
        std::memset(&params, 0, sizeof params);
        params.interfaceVersion = 4;
        params.instance = this;
        params.procs = &procs_;
        params.startFrame = 100;
        params.frameCount = frames;
        params.frame = destination_->world();
        SetRect(&params.frameRect, 0, 0, static_cast<short>(width), static_cast<short>(height));
        std::memset(&clip, 0, sizeof clip);
        transition.speed = 0.5f;
        transition.ver2.direction = kPluginDirectionLeft;
        fillTable();
        current() = this;
        previousObserver_ = plugin::setLogObserver([](const char* text) {
            if (current()) current()->events.push_back("log " + std::string(text));
        });
    }
    ~FakeHost() {
        plugin::setLogObserver(previousObserver_);
        current() = nullptr;
        dropKeptWorld();
        if (_EffectData* ed = state()) SICleanup(ed);
        for (void* block : blocks_) std::free(block);
    }
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    // What the plug-in is given.
    HYPluginParams params;
    HYPluginTransitionInfo transition{};
    HYPluginClipInfo clip{};              ///< copied out by GetClipInfo, written by SetClipInfo
    bool lendTransition = true;           ///< false: GetTransitionInfo succeeds with null
    bool lendCookies = true;              ///< false: frames come with a null cookie
    std::string caption = "Preparing";    ///< localised string; empty means missing
    std::map<int, std::int16_t> volumes;  ///< by frame number; 255 where nothing is said
    std::map<int, FrameShape> shapes;     ///< by frame number; the size asked for where nothing is said
    std::set<int> nullWorlds;             ///< frames that are lent with a null world
    std::function<void(int, TestWorld&)> paint = paintTestPicture;
    std::function<void(const std::string&)> onCallback;  ///< runs at the start of every callback

    // What the plug-in did.
    std::vector<std::string> events;         ///< callbacks ("GetFrame 100 64x48 high") and texts ("log ...")
    std::vector<std::pair<int, int>> mixes;  ///< frame and level of every MixAudio
    std::vector<std::int16_t> blitLevels;
    int setClipCalls = 0;

    /// Makes the `nth` call (from 1; 0: every call) of a callback answer `code`. NewPtrClear then gives null.
    void fail(const std::string& callback, int nth, HYPluginResult code) {
        failures_[callback] = {nth, code};
    }
    void failNothing() { failures_.clear(); }
    /// Starts counting calls and recording events anew.
    void forget() {
        counts_.clear();
        events.clear();
        mixes.clear();
        blitLevels.clear();
    }
    /// How often the callback was called since the start or `forget`.
    int count(const std::string& callback) const {
        const auto found = counts_.find(callback);
        return found == counts_.end() ? 0 : found->second;
    }

    /// One request.
    int call(int which, HYPluginSelector selector) {
        current() = this;
        params.selector = selector;
        const int result = entry_(static_cast<short>(which), &params);
        returned_.clear();
        return result;
    }
    /// One frame.
    int render(int which, int frame) {
        params.renderFrame = frame;
        return call(which, kPlugDoFrame);
    }

    // What is out at the moment.
    int framesLent() const { return static_cast<int>(lent_.size()); }
    int transitionsLent() const { return transitionsLent_; }
    int blocksAllocated() const { return static_cast<int>(blocks_.size()); }
    bool destinationLocked() const { return destination_->locked(); }
    int lockedFrames() const {
        int n = 0;
        for (const auto& [cookie, loan] : lent_) n += loan.world && loan.world->locked() ? 1 : 0;
        return n;
    }
    bool effectWorldKept() const { return state() && state()->effectGWorld; }
    /// True when nothing is lent or locked; the state block may exist.
    bool clean() const {
        return framesLent() == 0 && transitionsLent_ == 0 && !destinationLocked() && !effectWorldKept();
    }
    /// Ends every loan and unlocks the destination, as a host does that gave up a request.
    void takeEverythingBack() {
        lent_.clear();
        transitionsLent_ = 0;
        const PixMapHandle map = GetGWorldPixMap(params.frame);
        HSetState(reinterpret_cast<Handle>(map), 0);
        SetPixelsState(map, 0);
        dropKeptWorld();
    }

    TestWorld& destination() { return *destination_; }
    /// Replaces the destination; the destination rectangle is left alone.
    void useDestination(std::unique_ptr<TestWorld> world) {
        destination_ = std::move(world);
        params.frame = destination_->world();
    }
    _EffectData* state() const { return static_cast<_EffectData*>(params.clientData); }
    /// The events that are log texts, without their mark.
    std::vector<std::string> logs() const { return starting("log "); }
    /// The events that are callbacks.
    std::vector<std::string> callbacks() const {
        std::vector<std::string> out;
        for (const std::string& e : events)
            if (e.rfind("log ", 0) != 0) out.push_back(e);
        return out;
    }

  private:
    struct Failure {
        int nth;
        HYPluginResult code;
    };
    struct Loan {
        int frame;
        std::unique_ptr<TestWorld> world;
    };

    static FakeHost*& current() {
        static FakeHost* host = nullptr;
        return host;
    }

    std::vector<std::string> starting(const std::string& mark) const {
        std::vector<std::string> out;
        for (const std::string& e : events)
            if (e.rfind(mark, 0) == 0) out.push_back(e.substr(mark.size()));
        return out;
    }

    void dropKeptWorld() {
        if (!effectWorldKept()) return;
        DisposeGWorld(state()->effectGWorld);
        state()->effectGWorld = nullptr;
    }

    /// Notes the call; the code it is to answer.
    HYPluginResult note(const std::string& callback, const std::string& arguments = "") {
        if (onCallback) onCallback(callback);
        events.push_back(arguments.empty() ? callback : callback + " " + arguments);
        const int nth = ++counts_[callback];
        const auto found = failures_.find(callback);
        if (found == failures_.end() || (found->second.nth != 0 && found->second.nth != nth))
            return kPluginOK;
        return found->second.code;
    }

    static void* newPtrClear(std::int32_t size) {
        if (current()->note("NewPtrClear", std::to_string(size)) != kPluginOK) return nullptr;
        void* block = std::calloc(1, static_cast<std::size_t>(size));
        current()->blocks_.insert(block);
        return block;
    }
    static HYPluginResult disposePtr(void* block) {
        const HYPluginResult code = current()->note("DisposePtr", block ? "block" : "null");
        if (current()->blocks_.erase(block) == 1)
            std::free(block);
        else
            current()->events.push_back("DisposePtr of a stranger");
        return code;
    }
    static HYPluginResult copyPascal(StringPtr to, ConstStr255Param from) {
        const HYPluginResult code = current()->note("pstrcpy");
        if (code == kPluginOK) std::memcpy(to, from, static_cast<std::size_t>(from[0]) + 1);
        return code;
    }
    static HYPluginResult getLocalizedString(StringPtr to, std::int16_t list, std::int16_t index) {
        const HYPluginResult code =
            current()->note("GetLocalizedString", std::to_string(list) + " " + std::to_string(index));
        const std::string text = code == kPluginOK ? current()->caption : std::string();
        to[0] = static_cast<unsigned char>(text.size());
        std::memcpy(to + 1, text.data(), text.size());
        return code;
    }
    static HYPluginResult getFrame(HYPluginInstance instance, std::int32_t frame, GWorldPtr* world,
                                   std::int16_t width, std::int16_t height, HYRefDVQuality quality,
                                   std::int16_t* volume, HYFrameCookie* cookie) {
        FakeHost& host = of(instance);
        const char* const names[] = {"low", "high", "single"};
        const HYPluginResult code =
            host.note("GetFrame", std::to_string(frame) + " " + std::to_string(width) + "x" +
                                      std::to_string(height) + " " + names[quality]);
        return code == kPluginOK ? host.lend(frame, world, width, height, volume, cookie) : code;
    }
    HYPluginResult lend(std::int32_t frame, GWorldPtr* world, int width, int height, std::int16_t* volume,
                        HYFrameCookie* cookie) {
        const auto volumeOf = volumes.find(frame);
        *volume = volumeOf == volumes.end() ? std::int16_t{255} : volumeOf->second;
        *world = nullptr;
        *cookie = nullptr;
        if (nullWorlds.contains(frame)) return kPluginOK;
        const auto shaped = shapes.find(frame);
        const FrameShape s = shaped == shapes.end() ? FrameShape{width, height, width} : shaped->second;
        auto lent = std::make_unique<TestWorld>(s.width, s.height, s.stride, s.left, s.top);
        paint(frame, *lent);
        *world = lent->world();
        void* const mark = lendCookies ? lent->world() : nullptr;
        *cookie = mark;
        lent_.emplace_back(mark, Loan{frame, std::move(lent)});
        return kPluginOK;
    }
    static HYPluginResult releaseFrame(HYPluginInstance instance, HYFrameCookie cookie) {
        FakeHost& host = of(instance);
        const auto loan = host.find(cookie);
        const HYPluginResult code = host.note(
            "ReleaseFrame", loan == host.lent_.end() ? "unknown" : std::to_string(loan->second.frame));
        if (loan == host.lent_.end()) return code;
        host.returned_.push_back(std::move(loan->second.world));
        host.lent_.erase(loan);
        return code;
    }
    static HYPluginResult getClipInfo(HYPluginInstance instance, std::int16_t which, HYPluginClipInfo* info) {
        FakeHost& host = of(instance);
        const HYPluginResult code = host.note("GetClipInfo", std::to_string(which));
        if (code == kPluginOK) *info = host.clip;
        return code;
    }
    static HYPluginResult setClipInfo(HYPluginInstance instance, const HYPluginClipInfo* info) {
        FakeHost& host = of(instance);
        const HYPluginResult code = host.note("SetClipInfo");
        ++host.setClipCalls;
        host.clip = *info;
        return code;
    }
    static HYPluginResult blit(const PixMap* source, const PixMap* destination, const Rect* from,
                               const Rect* to, std::int16_t level) {
        const auto text = [](const Rect& r) {
            return std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) +
                   "," + std::to_string(r.bottom);
        };
        const HYPluginResult code =
            current()->note("Blit", text(*from) + " " + text(*to) + " " + std::to_string(level));
        current()->blitLevels.push_back(level);
        if (code == kPluginOK) std::ignore = platform::BlendRect(source, destination, from, to, level);
        return code;
    }
    static HYPluginResult getTransitionInfo(HYPluginInstance instance, HYPluginTransitionInfo** info) {
        FakeHost& host = of(instance);
        const HYPluginResult code = host.note("GetTransitionInfo");
        if (code != kPluginOK || !host.lendTransition) return code;
        *info = &host.transition;
        ++host.transitionsLent_;
        return code;
    }
    static HYPluginResult releaseTransitionInfo(HYPluginInstance instance, HYPluginTransitionInfo* info) {
        FakeHost& host = of(instance);
        const HYPluginResult code = host.note("ReleaseTransitionInfo", info ? "record" : "null");
        if (info) --host.transitionsLent_;
        return code;
    }
    static HYPluginResult mixAudio(HYPluginInstance instance, HYFrameCookie cookie, std::int16_t level) {
        FakeHost& host = of(instance);
        const auto loan = host.find(cookie);
        const int frame = loan == host.lent_.end() ? -1 : loan->second.frame;
        const HYPluginResult code =
            host.note("MixAudio", std::to_string(frame) + " " + std::to_string(level));
        host.mixes.emplace_back(frame, level);
        return code;
    }

    static FakeHost& of(HYPluginInstance instance) { return *static_cast<FakeHost*>(instance); }

    std::vector<std::pair<void*, Loan>>::iterator find(void* cookie) {
        auto it = lent_.begin();
        while (it != lent_.end() && it->first != cookie) ++it;
        return it;
    }

    /// A callback that no transition may call.
    template <class R, class... A>
    static void forbid(R (*&slot)(A...)) {
        slot = [](A...) -> R {
            current()->events.push_back("a callback that is never called");
            return R{};
        };
    }

    void fillTable() {
        forbid(procs_.NewPtr);
        forbid(procs_.ptocstr);
        forbid(procs_.ctopstr);
        forbid(procs_.strcpy);
        forbid(procs_.strlen);
        forbid(procs_.GetAudioFrame);
        forbid(procs_.ReleaseAudioFrame);
        forbid(procs_.GetMovieInfo);
        forbid(procs_.FillRect);
        forbid(procs_.TextBounds);
        forbid(procs_.DrawText);
        forbid(procs_.GetTitleInfo);
        forbid(procs_.ReleaseTitleInfo);
        forbid(procs_.GetFilterInfo);
        forbid(procs_.ReleaseFilterInfo);
        forbid(procs_.StringWidth);
        forbid(procs_.CGDrawText);
        forbid(procs_.CGStringWidth);
        procs_.NewPtrClear = newPtrClear;
        procs_.DisposePtr = disposePtr;
        procs_.pstrcpy = copyPascal;
        procs_.GetLocalizedString = getLocalizedString;
        procs_.GetFrame = getFrame;
        procs_.ReleaseFrame = releaseFrame;
        procs_.GetClipInfo = getClipInfo;
        procs_.SetClipInfo = setClipInfo;
        procs_.Blit = blit;
        procs_.GetTransitionInfo = getTransitionInfo;
        procs_.ReleaseTransitionInfo = releaseTransitionInfo;
        procs_.MixAudio = mixAudio;
    }

    std::unique_ptr<TestWorld> destination_;
    Entry entry_;
    _HYProcs procs_{};
    plugin::LogObserver previousObserver_ = nullptr;
    std::map<std::string, Failure> failures_;
    std::map<std::string, int> counts_;
    std::vector<std::pair<void*, Loan>> lent_;
    std::vector<std::unique_ptr<TestWorld>> returned_;  // readable until the request ends
    std::set<void*> blocks_;
    int transitionsLent_ = 0;
};

}  // namespace tumblewash::test
