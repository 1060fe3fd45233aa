#include "media/detail/IccProfile.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "media/Quoting.h"

namespace tumblewash::media {

namespace {

// Tables of printers have a megabyte or two; a profile above this belongs to no picture.
constexpr size_t kMaxBytes = size_t{32} << 20;
constexpr size_t kMaxName = 64;
constexpr size_t kHeader = 128;
constexpr size_t kCodes = 65536;
constexpr double kTop = 65535;
constexpr int kOneCode = 257;

template <auto Free>
struct Close {
    template <typename T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};
using Context = std::unique_ptr<std::remove_pointer_t<cmsContext>, Close<cmsDeleteContext>>;
using Profile = std::unique_ptr<void, Close<cmsCloseProfile>>;
using Transform = std::unique_ptr<void, Close<cmsDeleteTransform>>;
using Curve = std::unique_ptr<cmsToneCurve, Close<cmsFreeToneCurve>>;

Context newContext() {
    Context out(cmsCreateContext(nullptr, nullptr));
    if (!out) throw std::bad_alloc();
    cmsSetLogErrorHandlerTHR(out.get(), [](cmsContext, cmsUInt32Number, const char*) {});
    return out;
}

Profile srgbProfile(cmsContext context) {
    Profile out(cmsCreate_sRGBProfileTHR(context));
    if (!out) throw std::bad_alloc();
    return out;
}

using Matrix = std::array<double, 9>;  // rows first

Matrix product(const Matrix& a, const Matrix& b) {
    Matrix out{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            for (size_t k = 0; k < 3; ++k) out[3 * row + column] += a[3 * row + k] * b[3 * k + column];
    return out;
}

/// The inverse by cofactors; nothing for a matrix that has none.
bool invert(const Matrix& m, Matrix& out) {
    const auto cofactor = [&](size_t row, size_t column) {
        const size_t r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m[3 * r1 + c1] * m[3 * r2 + c2] - m[3 * r1 + c2] * m[3 * r2 + c1];
    };
    const double determinant = m[0] * cofactor(0, 0) + m[1] * cofactor(0, 1) + m[2] * cofactor(0, 2);
    if (!(std::abs(determinant) > 1e-9)) return false;
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            out[3 * row + column] = cofactor(column, row) / determinant;
    return true;
}

/// The profile's primaries in the connection space, one column each.
bool colorants(cmsHPROFILE profile, Matrix& out) {
    const std::array tags{cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    for (size_t column = 0; column < 3; ++column) {
        const auto* xyz = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, tags[column]));
        if (xyz == nullptr) return false;
        out[column] = xyz->X;
        out[3 + column] = xyz->Y;
        out[6 + column] = xyz->Z;
    }
    return std::all_of(out.begin(), out.end(), [](double v) { return std::isfinite(v) && std::abs(v) < 16; });
}

/// A profile of three curves and a matrix, as tables that hold every 16-bit code. The library's own road for
/// such profiles samples the cube of colours at a few dozen points an axis, which bends the colours at the
/// border of the smaller space by up to thirty codes.
struct Shaper {
    std::array<std::vector<float>, 3> linear;
    Matrix matrix{};
    std::vector<uint16_t> encode;  // linear light, 0..65535, into the codes of sRGB

    static std::unique_ptr<Shaper> make(cmsContext context, cmsHPROFILE profile) {
        Matrix from{}, srgb{}, toSrgb{};
        const Profile target = srgbProfile(context);
        if (!colorants(profile, from) || !colorants(target.get(), srgb) || !invert(srgb, toSrgb)) return {};
        auto out = std::make_unique<Shaper>();
        out->matrix = product(toSrgb, from);
        const std::array tags{cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
        for (size_t c = 0; c < 3; ++c) {
            const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile, tags[c]));
            if (curve == nullptr) return {};
            out->linear[c].resize(kCodes);
            for (size_t i = 0; i < kCodes; ++i) {
                const float value =
                    cmsEvalToneCurveFloat(curve, static_cast<float>(static_cast<double>(i) / kTop));
                out->linear[c][i] = value >= 0 ? std::min(value, 1.0F) : 0.0F;
            }
        }
        const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(target.get(), cmsSigRedTRCTag));
        const Curve inverse(curve != nullptr ? cmsReverseToneCurve(curve) : nullptr);
        if (!inverse) throw std::bad_alloc();
        out->encode.resize(kCodes);
        for (size_t i = 0; i < kCodes; ++i) {
            const float code =
                cmsEvalToneCurveFloat(inverse.get(), static_cast<float>(static_cast<double>(i) / kTop));
            out->encode[i] = static_cast<uint16_t>(std::lround(std::clamp(double{code}, 0.0, 1.0) * kTop));
        }
        return out;
    }

    void run(uint16_t* p, size_t count) const {
        std::array<float, 9> m{};
        for (size_t i = 0; i < 9; ++i) m[i] = static_cast<float>(matrix[i] * kTop);
        for (; count > 0; --count, p += 4) {
            const float r = linear[0][p[0]], g = linear[1][p[1]], b = linear[2][p[2]];
            for (size_t c = 0; c < 3; ++c) {
                const float value = m[3 * c] * r + m[3 * c + 1] * g + m[3 * c + 2] * b + 0.5F;
                p[c] = encode[value > 0 ? static_cast<size_t>(std::min(value, 65535.0F)) : 0];
            }
        }
    }
};

/// Wide characters of a profile in UTF-8, at most `kMaxName` bytes of it, without spaces around it.
std::string utf8Of(const std::vector<wchar_t>& wide) {
    std::string out;
    for (const wchar_t wideCharacter : wide) {
        const auto c = static_cast<uint32_t>(wideCharacter);
        if (c == 0) break;
        std::string bytes;
        if (c > 0xFFFF || (c >= 0xD800 && c < 0xE000))
            bytes = " ";
        else if (c < 0x80)
            bytes = {static_cast<char>(c)};
        else if (c < 0x800)
            bytes = {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
        else
            bytes = {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                     static_cast<char>(0x80 | (c & 0x3F))};
        if (out.size() + bytes.size() > kMaxName) break;
        out += bytes;
    }
    const size_t last = out.find_last_not_of(' ');
    const size_t first = out.find_first_not_of(' ');
    return last == std::string::npos ? std::string() : out.substr(first, last - first + 1);
}

std::string descriptionOf(cmsHPROFILE profile) {
    std::vector<wchar_t> text(256);
    const cmsUInt32Number got =
        cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", text.data(),
                          static_cast<cmsUInt32Number>(text.size() * sizeof(wchar_t)));
    text.back() = 0;
    return got == 0 ? std::string() : printable(utf8Of(text));
}

ProfilePixels pixelsOf(cmsHPROFILE profile) {
    switch (cmsGetColorSpace(profile)) {
        case cmsSigRgbData:
            return ProfilePixels::rgb;
        case cmsSigGrayData:
            return ProfilePixels::grey;
        case cmsSigCmykData:
            return ProfilePixels::ink;
        default:
            return ProfilePixels::other;
    }
}

/// Links of two devices, named colours and abstract effects say nothing about a picture's own colours.
bool describesPictures(cmsHPROFILE profile) {
    switch (cmsGetDeviceClass(profile)) {
        case cmsSigInputClass:
        case cmsSigDisplayClass:
        case cmsSigOutputClass:
        case cmsSigColorSpaceClass:
            return true;
        default:
            return false;
    }
}

bool hasTables(cmsHPROFILE profile) {
    return cmsIsTag(profile, cmsSigAToB0Tag) || cmsIsTag(profile, cmsSigAToB1Tag) ||
           cmsIsTag(profile, cmsSigAToB2Tag) || cmsIsTag(profile, cmsSigDToB0Tag) ||
           cmsIsTag(profile, cmsSigDToB1Tag);
}

// The first of four channels read, the other three stepped over.
constexpr cmsUInt32Number kGreyOfFour = COLORSPACE_SH(PT_GRAY) | EXTRA_SH(3) | CHANNELS_SH(1) | BYTES_SH(2);

Transform transformOf(cmsContext context, cmsHPROFILE profile, ProfilePixels pixels, cmsUInt32Number flags) {
    const Profile target = srgbProfile(context);
    const cmsUInt32Number from = pixels == ProfilePixels::grey ? kGreyOfFour : TYPE_RGBA_16;
    // Without a cache of its own, the transform may be used from several threads.
    return Transform(cmsCreateTransformTHR(context, profile, from, target.get(), TYPE_RGB_16,
                                           INTENT_RELATIVE_COLORIMETRIC,
                                           flags | cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE));
}

constexpr size_t kRun = 512;

/// All that a grey profile can say: red, green and blue for each of its codes. The library's own table of a
/// few dozen points would miss the dark ones.
std::vector<uint16_t> greyTable(cmsHTRANSFORM transform) {
    std::vector<uint16_t> codes(4 * kCodes), out(3 * kCodes);
    for (size_t i = 0; i < kCodes; ++i) codes[4 * i] = static_cast<uint16_t>(i);
    cmsDoTransform(transform, codes.data(), out.data(), static_cast<cmsUInt32Number>(kCodes));
    return out;
}

}  // namespace

struct IccProfile::State {
    Context context = newContext();
    ProfilePixels pixels = ProfilePixels::other;
    std::string name;
    bool usable = false;
    bool srgb = false;
    // One of these does the work.
    std::unique_ptr<Shaper> shaper;
    std::vector<uint16_t> greys;
    Transform transform;

    /// Reads what `profile` says; leaves `usable` false where it makes no sense.
    void judge(const Profile& profile) {
        if (!profile) return;
        name = descriptionOf(profile.get());
        pixels = pixelsOf(profile.get());
        const bool readable = pixels == ProfilePixels::rgb || pixels == ProfilePixels::grey;
        if (!readable || !describesPictures(profile.get())) return;
        if (pixels == ProfilePixels::rgb && !hasTables(profile.get()))
            shaper = Shaper::make(context.get(), profile.get());
        const bool grey = pixels == ProfilePixels::grey;
        if (!shaper)
            transform = transformOf(context.get(), profile.get(), pixels,
                                    grey ? cmsFLAGS_NOOPTIMIZE : cmsFLAGS_HIGHRESPRECALC);
        if (grey && transform) greys = greyTable(transform.get());
        usable = shaper || transform;
        srgb = usable && changesNothing();
    }

    void run(uint16_t* rgba, size_t count) const {
        if (shaper) return shaper->run(rgba, count);
        if (!greys.empty()) {
            for (size_t i = 0; i < count; ++i, rgba += 4) std::copy_n(&greys[size_t{3} * rgba[0]], 3, rgba);
            return;
        }
        std::array<uint16_t, 3 * kRun> rgb;
        for (size_t done = 0; done < count; done += kRun) {
            const size_t now = std::min(kRun, count - done);
            cmsDoTransform(transform.get(), rgba + 4 * done, rgb.data(), static_cast<cmsUInt32Number>(now));
            for (size_t i = 0; i < now; ++i) std::copy_n(&rgb[3 * i], 3, rgba + 4 * (done + i));
        }
    }

  private:
    /// Greys in fine steps and a cube of colours in coarse ones.
    bool changesNothing() const {
        std::vector<uint16_t> before;
        const auto add = [&](int r, int g, int b) {
            for (const int c : {r, g, b, 255}) before.push_back(static_cast<uint16_t>(c * kOneCode));
        };
        for (int grey = 0; grey <= 255; grey += 5) add(grey, grey, grey);
        for (int r = 0; r <= 255 && pixels == ProfilePixels::rgb; r += 51)
            for (int g = 0; g <= 255; g += 51)
                for (int b = 0; b <= 255; b += 51) add(r, g, b);
        std::vector<uint16_t> after = before;
        run(after.data(), after.size() / 4);
        for (size_t i = 0; i < before.size(); ++i)
            if (i % 4 != 3 && std::abs(int{after[i]} - int{before[i]}) > kOneCode) return false;
        return true;
    }
};

IccProfile IccProfile::fromBytes(std::span<const uint8_t> bytes) {
    auto state = std::make_shared<State>();
    // Cut short, a profile may still hold all tags that are looked at; what they say is not what was meant.
    const auto stated = [&] {
        return size_t{bytes[0]} << 24 | size_t{bytes[1]} << 16 | size_t{bytes[2]} << 8 | bytes[3];
    };
    if (bytes.size() <= kMaxBytes && bytes.size() >= kHeader && stated() <= bytes.size())
        state->judge(Profile(cmsOpenProfileFromMemTHR(state->context.get(), bytes.data(),
                                                      static_cast<cmsUInt32Number>(bytes.size()))));
    return IccProfile(std::move(state));
}

IccProfile IccProfile::fromPrimaries(const std::string& name, std::span<const double, 8> xy) {
    auto state = std::make_shared<State>();
    const cmsCIExyYTRIPLE primaries{{xy[0], xy[1], 1}, {xy[2], xy[3], 1}, {xy[4], xy[5], 1}};
    const cmsCIExyY white{xy[6], xy[7], 1};
    const Profile srgb = srgbProfile(state->context.get());
    auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(srgb.get(), cmsSigRedTRCTag));
    if (curve == nullptr) throw std::bad_alloc();
    std::array<cmsToneCurve*, 3> curves{curve, curve, curve};
    state->judge(Profile(cmsCreateRGBProfileTHR(state->context.get(), &white, &primaries, curves.data())));
    state->name = name;
    return IccProfile(std::move(state));
}

bool IccProfile::usable() const noexcept {
    return state_->usable;
}
ProfilePixels IccProfile::pixels() const noexcept {
    return state_->pixels;
}
const std::string& IccProfile::name() const noexcept {
    return state_->name;
}
bool IccProfile::isSrgb() const noexcept {
    return state_->srgb;
}

void IccProfile::toSrgb(uint16_t* rgba, size_t count) const {
    state_->run(rgba, count);
}

}  // namespace tumblewash::media
