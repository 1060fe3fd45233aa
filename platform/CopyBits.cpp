#include "platform/CopyBits.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/Rects.h"
#include "platform/WorldRecord.h"

namespace tumblewash::platform {
namespace {

// One axis of a copy: destination pixels first .. last - 1, counted from the destination rectangle's edge,
// are written; pixel i reads source pixel i * from / to, counted from the source rectangle's edge.
struct Axis {
    int from;
    int to;
    int first;
    int last;

    int source(int i) const {
        return from == to ? i : static_cast<int>(static_cast<std::int64_t>(i) * from / to);
    }
    int count() const { return last - first; }
};

struct Span {
    int low;
    int high;
};

int ceilDiv(std::int64_t a, std::int64_t b) {
    return static_cast<int>((a + b - 1) / b);
}

Axis clipAxis(Span source, Span sourceMap, Span target, Span targetMap) {
    Axis axis{source.high - source.low, target.high - target.low, 0, target.high - target.low};
    if (axis.from <= 0 || axis.to <= 0) return Axis{1, 1, 0, 0};
    axis.first = std::max(0, targetMap.low - target.low);
    axis.last = std::min(axis.to, targetMap.high - target.low);
    // Pixel i reads inside the source map when low <= floor(i * from / to) < high.
    const std::int64_t low = std::max(0, sourceMap.low - source.low);
    const std::int64_t high = std::max(0, std::min(axis.from, sourceMap.high - source.low));
    axis.first = std::max(axis.first, ceilDiv(low * axis.to, axis.from));
    axis.last = std::max(axis.first, std::min(axis.last, ceilDiv(high * axis.to, axis.from)));
    return axis;
}

Span columns(const Rect& r) {
    return {r.left, r.right};
}
Span rows(const Rect& r) {
    return {r.top, r.bottom};
}

// Pixels addressed from a rectangle's corner, which may lie outside the map: only pixels inside are ever
// formed.
struct Rows {
    std::uint8_t* base;
    std::int64_t corner;  // bytes from `base` to the rectangle's corner
    std::int64_t stride;

    std::uint8_t* at(int x, int y) const { return base + (corner + y * stride + std::int64_t{x} * 4); }
};

// The part of a copy that is left after clipping: `source` starts at the pixel that destination pixel (0, 0)
// of the rectangle would read, `target` at that pixel itself, so that axis indices apply to both.
struct Clipped {
    Rows source;
    Rows target;
    Axis x;
    Axis y;

    bool empty() const { return x.count() <= 0 || y.count() <= 0; }
    bool unscaled() const { return x.from == x.to && y.from == y.to; }
};

bool overlap(const Clipped& c) {
    const auto address = [](const std::uint8_t* p) { return reinterpret_cast<std::uintptr_t>(p); };
    const auto sourceFirst = address(c.source.at(c.x.source(c.x.first), c.y.source(c.y.first)));
    const auto sourceEnd = address(c.source.at(c.x.source(c.x.last - 1), c.y.source(c.y.last - 1))) + 4;
    const auto targetFirst = address(c.target.at(c.x.first, c.y.first));
    const auto targetEnd = address(c.target.at(c.x.last - 1, c.y.last - 1)) + 4;
    return sourceFirst < targetEnd && targetFirst < sourceEnd;
}

// A private copy of the source pixels that the copy will read; `c.source` is moved onto it.
std::unique_ptr<std::uint8_t[]> detachSource(Clipped& c) {
    const int x0 = c.x.source(c.x.first), x1 = c.x.source(c.x.last - 1) + 1;
    const int y0 = c.y.source(c.y.first), y1 = c.y.source(c.y.last - 1) + 1;
    const std::int64_t stride = std::int64_t{x1 - x0} * 4;
    auto copy = std::make_unique_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(stride * (y1 - y0)));
    for (int y = y0; y < y1; ++y) {
        std::memcpy(copy.get() + (y - y0) * stride, c.source.at(x0, y), static_cast<std::size_t>(stride));
    }
    c.source = Rows{copy.get(), -(y0 * stride + std::int64_t{x0} * 4), stride};
    return copy;
}

// `shared`: the maps share memory and have one stride, so rows are taken in the order that reads before it
// writes.
void copyRows(const Clipped& c, bool shared) {
    const auto bytes = static_cast<std::size_t>(c.x.count()) * 4;
    std::uint8_t* out = c.target.at(c.x.first, c.y.first);
    const std::uint8_t* in = c.source.at(c.x.first, c.y.first);
    if (!shared && c.source.stride == c.target.stride &&
        c.source.stride == static_cast<std::int64_t>(bytes)) {
        std::memcpy(out, in, bytes * static_cast<std::size_t>(c.y.count()));
        return;
    }
    const bool upwards =
        shared && reinterpret_cast<std::uintptr_t>(out) > reinterpret_cast<std::uintptr_t>(in);
    for (int i = 0; i < c.y.count(); ++i) {
        const int y = upwards ? c.y.last - 1 - i : c.y.first + i;
        std::memmove(c.target.at(c.x.first, y), c.source.at(c.x.first, y), bytes);
    }
}

// Where a row's pixels come from, in bytes from the first pixel written and the first pixel read.
struct Move {
    int to;
    int from;
};

// A scaled row as moves of four pixels and of one. A move of four may carry pixels that are not wanted; the
// moves after it, which go on where the wanted ones end, put that right.
struct ScalePlan {
    std::vector<Move> fours;
    std::vector<Move> ones;

    explicit ScalePlan(const Axis& x) {
        const int count = x.count(), column = x.source(x.first);
        std::vector<int> offsets(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            offsets[static_cast<std::size_t>(i)] = (x.source(x.first + i) - column) * 4;
        const auto from = [&offsets](int i) { return offsets[static_cast<std::size_t>(i)]; };
        const int readable = from(count - 1) + 4;
        int i = 0;
        while (i + 4 <= count && from(i) + 16 <= readable) {
            fours.push_back({i * 4, from(i)});
            const int start = i++;
            while (i < start + 4 && from(i) == fours.back().from + (i - start) * 4) ++i;
        }
        // Moves that carry hardly more than one pixel each are not worth their width.
        if (static_cast<int>(fours.size()) * 3 > i * 2) {
            fours.clear();
            i = 0;
        }
        for (; i < count; ++i) ones.push_back({i * 4, from(i)});
    }
};

void scaleRow(std::uint8_t* out, const std::uint8_t* in, const ScalePlan& plan) {
    for (const Move& move : plan.fours) std::memcpy(out + move.to, in + move.from, 16);
    for (const Move& move : plan.ones) std::memcpy(out + move.to, in + move.from, 4);
}

void scaleRows(const Clipped& c) {
    const int column = c.x.source(c.x.first);
    const ScalePlan plan(c.x);
    const auto bytes = static_cast<std::size_t>(c.x.count()) * 4;
    int made = -1;  // source row that the previous destination row holds
    for (int y = c.y.first; y < c.y.last; ++y) {
        std::uint8_t* out = c.target.at(c.x.first, y);
        const int from = c.y.source(y);
        if (from == made) {
            std::memcpy(out, out - c.target.stride, bytes);
        } else if (c.x.from == c.x.to) {
            std::memcpy(out, c.source.at(c.x.first, from), bytes);
        } else {
            scaleRow(out, c.source.at(column, from), plan);
        }
        made = from;
    }
}

Rows rowsAt(const PixMap& map, const Rect& r) {
    const std::int64_t stride = StrideOf(map);
    return Rows{reinterpret_cast<std::uint8_t*>(map.baseAddr),
                (r.top - map.bounds.top) * stride + std::int64_t{r.left - map.bounds.left} * 4, stride};
}

Clipped clip(const PixMap& src, const PixMap& dst, const Rect& from, const Rect& to) {
    return Clipped{rowsAt(src, from), rowsAt(dst, to),
                   clipAxis(columns(from), columns(src.bounds), columns(to), columns(dst.bounds)),
                   clipAxis(rows(from), rows(src.bounds), rows(to), rows(dst.bounds))};
}

// v = s * L + d * (255 - L) is at most 255 * 255, where (v + 127) / 255 equals (v + 128 + ((v + 128) >> 8))
// >> 8.
[[gnu::always_inline]] inline void blendBytes(std::uint8_t* out, const std::uint8_t* in, int bytes,
                                              unsigned level) {
    const unsigned rest = 255 - level;
    for (int i = 0; i < bytes; ++i) {
        const auto v = static_cast<std::uint16_t>(in[i] * level + out[i] * rest + 128);
        out[i] = static_cast<std::uint8_t>(static_cast<std::uint16_t>(v + (v >> 8)) >> 8);
    }
}

void blendRowAnywhere(std::uint8_t* out, const std::uint8_t* in, int bytes, unsigned level) {
    blendBytes(out, in, bytes, level);
}

using BlendRow = void (*)(std::uint8_t* out, const std::uint8_t* in, int bytes, unsigned level);

#if defined(__x86_64__) && !defined(TUMBLEWASH_NO_SIMD)

[[gnu::target("avx2")]] void blendRowWide(std::uint8_t* out, const std::uint8_t* in, int bytes,
                                          unsigned level) {
    blendBytes(out, in, bytes, level);
}

BlendRow blendRowHere() {
    static const BlendRow row = __builtin_cpu_supports("avx2") != 0 ? blendRowWide : blendRowAnywhere;
    return row;
}

#else

BlendRow blendRowHere() {
    return blendRowAnywhere;
}

#endif

bool drawable(const PixMap* map) {
    return map != nullptr && map->baseAddr != nullptr;
}

}  // namespace

void BlendBytes(std::uint8_t* out, const std::uint8_t* in, int bytes, unsigned level) {
    blendRowHere()(out, in, bytes, level);
}

OSErr BlendRect(const PixMap* src, const PixMap* dst, const Rect* srcRect, const Rect* dstRect, int level) {
    if (!drawable(src) || !drawable(dst) || srcRect == nullptr || dstRect == nullptr) return paramErr;
    const int width = std::min(srcRect->right - srcRect->left, dstRect->right - dstRect->left);
    const int height = std::min(srcRect->bottom - srcRect->top, dstRect->bottom - dstRect->top);
    const auto cut = [&](const Rect& r) {
        return Rect{r.top, r.left, static_cast<std::int16_t>(r.top + height),
                    static_cast<std::int16_t>(r.left + width)};
    };
    if (width <= 0 || height <= 0) return noErr;
    Clipped c = clip(*src, *dst, cut(*srcRect), cut(*dstRect));
    if (c.empty()) return noErr;
    const bool samePixels = c.source.stride == c.target.stride &&
                            c.source.at(c.x.first, c.y.first) == c.target.at(c.x.first, c.y.first);
    const auto detached = !samePixels && overlap(c) ? detachSource(c) : nullptr;
    const auto weight = static_cast<unsigned>(std::clamp(level, 0, 255));
    const BlendRow blendRow = blendRowHere();
    for (int y = c.y.first; y < c.y.last; ++y) {
        blendRow(c.target.at(c.x.first, y), c.source.at(c.x.first, y), c.x.count() * 4, weight);
    }
    return noErr;
}

}  // namespace tumblewash::platform

using namespace tumblewash::platform;

void CopyBits(const BitMap* src, const BitMap* dst, const Rect* srcRect, const Rect* dstRect, short mode,
              RgnHandle mask) {
    if (!drawable(src) || !drawable(dst) || srcRect == nullptr || dstRect == nullptr) return;
    if (mode != srcCopy || mask != nullptr) return;
    Clipped c = clip(*src, *dst, *srcRect, *dstRect);
    if (c.empty()) return;
    const bool shared = overlap(c);
    if (c.unscaled() && (!shared || c.source.stride == c.target.stride)) {
        copyRows(c, shared);
        return;
    }
    const auto detached = shared ? detachSource(c) : nullptr;
    if (c.unscaled()) {
        copyRows(c, false);
    } else {
        scaleRows(c);
    }
}
