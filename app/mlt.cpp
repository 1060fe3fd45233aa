#include "app/mlt.h"

#include <fmt/format.h>

#include <filesystem>
#include <numeric>

#include "app/errors.h"
#include "app/report.h"
#include "media/Pattern.h"

namespace tumblewash {
namespace {

/// The mixers' seed knob: 0 is the first field, each thousandth the next.
constexpr double kSeedStep = 0.001;

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string property(const char* name, const std::string& value) {
    return fmt::format("      <property name=\"{}\">{}</property>\n", name, escaped(value));
}

std::string entry(const std::string& producer, std::int64_t first, std::int64_t count,
                  const std::string& inner = "") {
    const std::string head =
        fmt::format("    <entry producer=\"{}\" in=\"{}\" out=\"{}\"", producer, first, first + count - 1);
    return inner.empty() ? head + "/>\n" : head + ">\n" + inner + "    </entry>\n";
}

// A stretch of one frame held without sound: what stands where the morph's other half has no picture of this
// clip.
std::string held(const std::string& producer, std::int64_t first, std::int64_t count, std::int64_t frame) {
    return entry(producer, first, count,
                 "      <filter>\n  " + property("mlt_service", "freeze") + "  " +
                     property("frame", std::to_string(frame)) + "      </filter>\n      <filter>\n  " +
                     property("mlt_service", "volume") + "  " + property("gain", "0") + "      </filter>\n");
}

std::string clipName(int index) {
    return fmt::format("clip{}", index);
}

std::string profile(const MovieRequest& request) {
    const int divisor = std::gcd(request.size.width, request.size.height);
    return fmt::format(
        "  <profile description=\"tumblewash\" width=\"{}\" height=\"{}\" progressive=\"{}\" "
        "sample_aspect_num=\"1\" sample_aspect_den=\"1\" display_aspect_num=\"{}\" "
        "display_aspect_den=\"{}\" frame_rate_num=\"{}\" frame_rate_den=\"{}\" colorspace=\"{}\"/>\n",
        request.size.width, request.size.height, request.fields == FieldOrder::progressive ? 1 : 0,
        request.size.width / divisor, request.size.height / divisor, request.rate.num, request.rate.den,
        colourMatrixFor(request.size.width, request.size.height) == ColourMatrix::bt709 ? 709 : 601);
}

std::string producers(const MovieRequest& request) {
    std::string out;
    for (std::size_t i = 0; i < request.clips.size(); ++i) {
        const Clip& clip = request.clips[i];
        out += fmt::format("  <producer id=\"{}\" in=\"0\" out=\"{}\">\n", clipName(static_cast<int>(i)),
                           clip.frames() - 1);
        out += property("resource", std::filesystem::absolute(clip.path()).lexically_normal().string());
        out += property("length", std::to_string(clip.frames()));
        out += property("eof", "pause") + "  </producer>\n";
    }
    return out;
}

std::string mixer(const Options& o, const Effect& effect, std::int64_t n, bool halves) {
    std::string id = effect.id;
    for (char& c : id)
        if (c == '-') c = '_';
    // The plug-in's fraction is frame / count, so the last frame stops one step short of the end; the morph
    // counts from one and reaches it.
    const double first = halves ? 1.0 / static_cast<double>(n) : 0.0;
    const double last = halves ? 1.0 : static_cast<double>(n - 1) / static_cast<double>(n);
    std::string out = fmt::format("    <transition in=\"0\" out=\"{}\">\n", n - 1);
    out += property("a_track", "0") + property("b_track", "1") +
           property("mlt_service", "frei0r.tumblewash_" + id);
    out += property("position", fmt::format("0={:.6f};-1={:.6f}", first, last));
    if (effect.info.flags != 0) {
        out += property("direction", directionName(directionFor(o, effect)));
        out += property("seed", fmt::format("{:.3f}", (o.seed - 1) * kSeedStep));
    }
    out += fmt::format("    </transition>\n    <transition in=\"0\" out=\"{}\">\n", n - 1);
    out += property("a_track", "0") + property("b_track", "1") + property("mlt_service", "mix");
    return out + (halves ? property("sum", "1") : property("start", "-1")) + "    </transition>\n";
}

// A seam: two tracks of n frames under the mixer.
std::string seam(const Options& o, const MovieRequest& request, const Segment& s) {
    const Effect& effect = request.effects[static_cast<std::size_t>(s.transition)];
    const bool halves = placementOf(effect) == Placement::Halves;
    const std::string a = clipName(s.clipA);
    const std::string b = clipName(s.clipB);
    const std::int64_t half = s.count - s.countA;
    std::string out;
    if (halves) {
        out += fmt::format("  <playlist id=\"leaving{}\">\n", s.transition) + entry(a, s.firstA, s.countA) +
               held(a, s.firstA, half, s.firstA + s.countA - 1) + "  </playlist>\n";
        out += fmt::format("  <playlist id=\"arriving{}\">\n", s.transition) + held(b, 0, s.countA, 0) +
               entry(b, 0, half) + "  </playlist>\n";
    }
    out += fmt::format("  <tractor id=\"seam{}\" in=\"0\" out=\"{}\">\n", s.transition, s.count - 1);
    const auto track = [&](const std::string& producer, std::int64_t first) {
        return fmt::format("    <track producer=\"{}\" in=\"{}\" out=\"{}\"/>\n", producer, first,
                           first + s.count - 1);
    };
    out += halves ? track(fmt::format("leaving{}", s.transition), 0) : track(a, s.firstA);
    out += halves ? track(fmt::format("arriving{}", s.transition), 0) : track(b, s.firstB);
    return out + mixer(o, effect, s.count, halves) + "  </tractor>\n";
}

}  // namespace

std::string mltProject(const Options& o, const MovieRequest& request) {
    for (const std::string& input : o.inputs)
        if (isPattern(input))
            throw Refusal(ExitCode::BadUsage,
                          fmt::format("{}: only this program draws it; an MLT project needs files", input));
    if (o.fit != Fit::contain)
        throw Refusal(ExitCode::BadUsage, "--mlt: a project shows pictures whole; leave --fit out");
    if (o.seed < 1 || o.seed > 1001)
        throw Refusal(ExitCode::BadUsage, "--mlt: a project knows the seeds 1 to 1001");
    std::string out =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mlt LC_NUMERIC=\"C\" version=\"7.12.0\" "
        "title=\"tumblewash\" producer=\"join\">\n";
    out += profile(request) + producers(request);
    std::string list = "  <playlist id=\"join\">\n";
    for (const Segment& s : request.plan.segments) {
        if (s.transition == Segment::kNone) {
            list += entry(clipName(s.clipA), s.firstA, s.count);
            continue;
        }
        out += seam(o, request, s);
        list += entry(fmt::format("seam{}", s.transition), 0, s.count);
    }
    return out + list + "  </playlist>\n</mlt>\n";
}

}  // namespace tumblewash
