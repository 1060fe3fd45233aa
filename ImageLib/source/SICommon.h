// SICommon: the common base of every object of the image library, with its debug state, result codes, shared
// enumerations and the sink of all diagnostic text.
// It is not a logging framework: nothing in the library ever behaves differently because a trace is on.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

/// Debug categories, one bit each, stored in 16 bits. `DBGAll` is a bit of its own, not a union of the
/// others.
enum debugclass : std::uint16_t {
    DBGNone = 0,
    DBGMem = 1,
    DBGMatch = 2,
    DBGPixel = 4,
    DBGRect = 8,
    DBGBitmap = 16,
    DBGUI = 32,
    DBGIter = 64,
    DBGProblem = 128,
    DBGCache = 256,
    DBGAll = 512,
};
/// The same type under its other name.
using DBGClass = debugclass;

/// The result of every fallible library operation. `INVALID_IMAGE_SIZE` shares the value of success: a caller
/// cannot tell the two apart.
enum SIerrorcode : std::uint8_t {
    IMAGE_OK = 0,
    INVALID_IMAGE_SIZE = 0,
    IMAGE_OOB_COORD = 1,      ///< coordinate outside a rectangle's bounds
    IMAGEFILE_NOT_FOUND = 2,  ///< image file missing
    IMAGE_UNIMP = 3,          ///< operation does not exist for this type or mode
    IMAGE_NODATA = 4,         ///< rectangle has no pixel storage
    IMAGE_CACHE_LOCKED = 5,   ///< tile cache cannot evict
};

/// Which lines of a frame a `PixRectWrap` shows. Odd lines are 1, 3, 5, ...; even lines are 0, 2, 4, ...
enum siwraptype : std::uint8_t { SIOddLines = 0, SIEvenLines = 1, SIAllLines = 2 };

/// How a continuous image interpolates between pixels.
enum siinterpcode : std::uint8_t {
    SIInterpBilinear = 0,
    SIInterpSmooth = 1,
    SIInterpPyramid = 2,
    SIInterpBicubic = 3,
};

/// How a sampled rectangle gathers its source pixels.
enum sisamplecodes : std::uint8_t {
    SIQuickSample = 0,
    SIBestSample = 1,
    SISingleSample = 2,
    SISmoothSample = 3,
};

/// Which difference measure the correlator uses.
enum sicomparator : std::uint8_t {
    ComparePixDiff = 0,
    CompareTotalVal = 1,
    CompareHue = 2,
    CompareFFT = 3,
    CompareEdgeCount = 4,
    ComparePixDiffX = 5,
    ComparePixDiffN = 6,
};

/// Comparison helpers with the library's own tie rules, and the switch of its diagnostics.
namespace SICommon_H {

/// The larger of two, by reference; on a tie `a`.
template <class T>
constexpr const T& max(const T& a, const T& b) {
    return a < b ? b : a;
}

/// The smaller of two, by reference; on a tie `a`.
template <class T>
constexpr const T& min(const T& a, const T& b) {
    return a > b ? b : a;
}

/// The largest of three, by reference; ties favour the earlier argument.
template <class T>
constexpr const T& max(const T& a, const T& b, const T& c) {
    if (a < b) return b < c ? c : b;
    return a < c ? c : a;
}

/// The smallest of three, by reference; ties favour the earlier argument.
template <class T>
constexpr const T& min(const T& a, const T& b, const T& c) {
    if (a > b) return b > c ? c : b;
    return a > c ? c : a;
}

/// Float form of the three-argument maximum: compares in double precision.
constexpr const float& max(const float& a, const float& b, const float& c) {
    const double da = a, db = b, dc = c;
    if (da < db) return db < dc ? c : b;
    return da < dc ? c : a;
}

/// Float form of the three-argument minimum: compares in double precision.
constexpr const float& min(const float& a, const float& b, const float& c) {
    const double da = a, db = b, dc = c;
    if (da > db) return db > dc ? c : b;
    return da > dc ? c : a;
}

/// Half the way from `a` to `b`, as a byte increment, when they differ by less than `limit` (exclusive), else
/// 0. A negative half-way comes back as its low eight bits: decrease(13, 10, 5) is 255.
constexpr int decrease(unsigned char a, unsigned char b, int limit) {
    const int d = static_cast<int>(b) - static_cast<int>(a);
    if ((d < 0 ? -d : d) >= limit) return 0;
    return (d / 2) & 0xFF;
}

/// Routes all diagnostic text to `sink` (not owned), or discards it when `sink` is null. Until the first call
/// the text goes to standard error if the library was built with SI_DEBUG or the environment has SI_DEBUG=1.
void traceto(std::FILE* sink);

/// Writes one formatted text to the current sink. Reached only while tracing is on.
void emit(const char* format, ...);

/// -1 before the configuration was looked at, then 0 (discard) or 1 (write).
extern std::atomic<int> tracestate;

/// Looks at the build option and the environment once and settles `tracestate`.
bool resolvetrace();

/// True when diagnostic text is written anywhere. One relaxed load while tracing is off.
inline bool tracing() {
    const int state = tracestate.load(std::memory_order_relaxed);
    return state < 0 ? resolvetrace() : state != 0;
}

}  // namespace SICommon_H

using SICommon_H::decrease;

/// The single sink of every diagnostic text of the library, printf-style. Discards by default. Always returns
/// 0. It has no printf-format attribute on purpose: one of the library's texts carries a surplus argument.
template <class... Args>
inline int siprintf(const char* format, Args... args) {
    if (SICommon_H::tracing()) SICommon_H::emit(format, args...);
    return 0;
}

/// A set of debug categories: an OR of `debugclass` bits in a 32-bit integer.
struct DBGState {
    constexpr DBGState() = default;
    /// The set of one category.
    constexpr DBGState(debugclass c) : dcl(c) {}

    /// True when the bit of `c` is set; never for `DBGNone`.
    constexpr bool chk(debugclass c) const { return (dcl & c) != 0; }
    /// Puts the category's bit in.
    constexpr void set(debugclass c) { dcl |= c; }
    /// Takes the category's bit out.
    constexpr void unset(debugclass c) { dcl &= ~static_cast<std::int32_t>(c); }
    /// The set as an integer.
    constexpr std::int32_t value() const { return dcl; }

    /// The set itself: an OR of `debugclass` values.
    std::int32_t dcl = 0;
};
static_assert(sizeof(DBGState) == 4 && sizeof(debugclass) == 2 && sizeof(SIerrorcode) == 1);
static_assert(sizeof(siwraptype) == 1 && sizeof(siinterpcode) == 1 && sizeof(sisamplecodes) == 1 &&
              sizeof(sicomparator) == 1);

/// Common base: virtual table pointer first, then the object's own debug categories. The destructor is not
/// virtual here (slot 0 is `printInfo` and nothing else); classes that are deleted through a base add their
/// own.
class SICommon {
  public:
    constexpr SICommon() = default;
    /// Copies carry the debug categories.
    constexpr SICommon(const SICommon&) = default;
    /// With these debug categories.
    explicit constexpr SICommon(const DBGState& s) : dbg(s) {}
    /// Takes the other object's debug categories.
    constexpr SICommon& operator=(const SICommon&) = default;

    /// Prints the object through `siprintf`.
    virtual void printInfo() const;

    /// "true" or "false".
    const char* booltostring(bool b) const;
    /// True when category `c` is on for this object.
    constexpr bool debugchk(const debugclass& c) const { return dbg.chk(c); }
    /// The object's own debug categories.
    constexpr const DBGState& dbgstate() const { return dbg; }
    /// Adds one category.
    constexpr void debugon(const debugclass& c) { dbg.set(c); }
    /// Adds every category of `s`.
    constexpr void debugon(const DBGState& s) { dbg.dcl |= s.dcl; }
    /// Removes one category.
    constexpr void debugoff(const debugclass& c) { dbg.unset(c); }
    /// The category's bit value.
    constexpr int classtoint(const debugclass& c) const { return static_cast<int>(c); }

    /// Prints `other` when category `c` is on for this object; a null `other` prints nothing.
    void _debugi(const debugclass& c, const SICommon* other) const;

    /// Formatted trace through `siprintf` when category `c` is on for this object.
    template <class... Args>
    void _debug(DBGClass c, const char* format, Args... args) const {
        if (debugchk(c)) siprintf(format, args...);
    }

    /// Seconds since the program first asked, from a clock that never runs backwards.
    double runtimenow() const;

    /// One label per category, in the order of `debugclass`.
    static const char* const DBGclasslabel[11];

    /// The object's own debug categories; read only to decide whether to trace.
    DBGState dbg;
};
static_assert(sizeof(SICommon) == 2 * sizeof(void*));
