#include "tests/media/StillFiles.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace tumblewash::test {

namespace {

/// A number in `width` bytes.
std::string number(uint64_t value, size_t width, bool bigEndian = true) {
    std::string out(width, '\0');
    for (size_t i = 0; i < width; ++i)
        out[bigEndian ? width - 1 - i : i] = static_cast<char>(value >> (8 * i) & 0xFF);
    return out;
}

uint32_t crc32(const std::string& bytes) {
    uint32_t crc = ~0U;
    for (const char c : bytes) {
        crc ^= static_cast<uint8_t>(c);
        for (int i = 0; i < 8; ++i) crc = (crc >> 1) ^ (0xEDB88320U & (0U - (crc & 1U)));
    }
    return ~crc;
}

/// A zlib stream of stored blocks.
std::string stored(const std::string& bytes) {
    std::string out("\x78\x01", 2);
    uint32_t a = 1, b = 0;
    for (const char c : bytes) {
        a = (a + static_cast<uint8_t>(c)) % 65521;
        b = (b + a) % 65521;
    }
    size_t at = 0;
    do {
        const size_t part = std::min<size_t>(bytes.size() - at, 65535);
        out += at + part == bytes.size() ? '\1' : '\0';
        out += number(part, 2, false) + number(~part & 0xFFFF, 2, false) + bytes.substr(at, part);
        at += part;
    } while (at < bytes.size());
    return out + number(b, 2) + number(a, 2);
}

std::string pngChunk(const std::string& name, const std::string& content) {
    return number(content.size(), 4) + name + content + number(crc32(name + content), 4);
}

std::string pixels(const Codes& picture, bool bigEndian, bool filterBytes) {
    std::string out;
    const size_t row = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.channels);
    for (size_t i = 0; i < picture.values.size(); ++i) {
        if (filterBytes && i % row == 0) out += '\0';
        out += number(picture.values[i], static_cast<size_t>(picture.depth) / 8, bigEndian);
    }
    return out;
}

std::string riffChunk(const std::string& name, const std::string& content) {
    return name + number(content.size(), 4, false) + content + std::string(content.size() % 2, '\0');
}

using Matrix = std::array<std::array<double, 3>, 3>;

Matrix inverse(const Matrix& m) {
    Matrix out{};
    const auto at = [&](size_t r, size_t c) { return m[r % 3][c % 3]; };
    double determinant = 0;
    for (size_t c = 0; c < 3; ++c)
        determinant += m[0][c] * (at(1, c + 1) * at(2, c + 2) - at(1, c + 2) * at(2, c + 1));
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c)
            out[c][r] =
                (at(r + 1, c + 1) * at(r + 2, c + 2) - at(r + 1, c + 2) * at(r + 2, c + 1)) / determinant;
    return out;
}

Matrix product(const Matrix& a, const Matrix& b) {
    Matrix out{};
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c)
            for (size_t k = 0; k < 3; ++k) out[r][c] += a[r][k] * b[k][c];
    return out;
}

std::array<double, 3> applied(const Matrix& m, const std::array<double, 3>& v) {
    std::array<double, 3> out{};
    for (size_t r = 0; r < 3; ++r)
        for (size_t k = 0; k < 3; ++k) out[r] += m[r][k] * v[k];
    return out;
}

std::array<double, 3> whiteXyz(const Primaries& p) {
    return {p[6] / p[7], 1, (1 - p[6] - p[7]) / p[7]};
}

/// Linear R, G, B to X, Y, Z: SMPTE RP 177.
Matrix toXyz(const Primaries& p) {
    Matrix m{};
    for (size_t c = 0; c < 3; ++c) {
        const double x = p[2 * c], y = p[2 * c + 1];
        m[0][c] = x;
        m[1][c] = y;
        m[2][c] = 1 - x - y;
    }
    const std::array<double, 3> scale = applied(inverse(m), whiteXyz(p));
    for (auto& row : m)
        for (size_t c = 0; c < 3; ++c) row[c] *= scale[c];
    return m;
}

/// Bradford's adaptation of one white to another.
Matrix adapted(const std::array<double, 3>& from, const std::array<double, 3>& to) {
    const Matrix cone{{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const std::array<double, 3> a = applied(cone, from), b = applied(cone, to);
    Matrix scale{};
    for (size_t i = 0; i < 3; ++i) scale[i][i] = b[i] / a[i];
    return product(inverse(cone), product(scale, cone));
}

std::string saved(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    EXPECT_TRUE(profile != nullptr && cmsSaveProfileToMem(profile, nullptr, &size));
    std::string out(size, '\0');
    EXPECT_TRUE(cmsSaveProfileToMem(profile, out.data(), &size));
    cmsCloseProfile(profile);
    return out;
}

/// UTF-8 of up to three bytes a character.
std::wstring wide(const std::string& text) {
    std::wstring out;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[i + k]); };
        if (byte(0) >= 0xE0) {
            out += static_cast<wchar_t>((byte(0) & 15) << 12 | (byte(1) & 63) << 6 | (byte(2) & 63));
            i += 2;
        } else if (byte(0) >= 0xC0) {
            out += static_cast<wchar_t>((byte(0) & 31) << 6 | (byte(1) & 63));
            i += 1;
        } else {
            out += static_cast<wchar_t>(byte(0));
        }
    }
    return out;
}

void describe(cmsHPROFILE profile, const std::string& name) {
    cmsMLU* text = cmsMLUalloc(nullptr, 1);
    cmsMLUsetWide(text, "en", "US", wide(name).c_str());
    cmsWriteTag(profile, cmsSigProfileDescriptionTag, text);
    cmsMLUfree(text);
}

/// A table between straight curves, as version 2 of the format wants it.
void insertTable(cmsPipeline* pipeline, cmsStage* table, cmsUInt32Number inputs) {
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, inputs, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
}

cmsToneCurve* curveOf(double gamma) {
    const double srgb[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return gamma > 0 ? cmsBuildGamma(nullptr, gamma) : cmsBuildParametricToneCurve(nullptr, 4, srgb);
}

}  // namespace

Codes codes(int width, int height, int channels, int depth, const std::function<int(int, int, int)>& code) {
    Codes out;
    out.width = width;
    out.height = height;
    out.channels = channels;
    out.depth = depth;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) out.values.push_back(static_cast<uint16_t>(code(x, y, c)));
    return out;
}

std::string pngFile(const Codes& picture, const Blocks& blocks) {
    constexpr char types[] = {0, 0, 4, 2, 6};
    std::string out("\x89PNG\r\n\x1A\n", 8);
    out += pngChunk("IHDR", number(static_cast<uint64_t>(picture.width), 4) +
                                number(static_cast<uint64_t>(picture.height), 4) +
                                static_cast<char>(picture.depth) + types[picture.channels] +
                                std::string(3, '\0'));
    if (!blocks.profile.empty()) out += pngChunk("iCCP", std::string("a\0\0", 3) + stored(blocks.profile));
    if (!blocks.exif.empty()) out += pngChunk("eXIf", blocks.exif);
    for (const auto& [type, content] : blocks.chunks) out += pngChunk(type, content);
    return out + pngChunk("IDAT", stored(pixels(picture, true, true))) + pngChunk("IEND", "");
}

std::string exrFile(int width, int height, const std::function<float(int, int)>& alpha) {
    const auto n = [](uint64_t value, size_t bytes) { return number(value, bytes, false); };
    const auto side = [](int value) { return static_cast<uint64_t>(value); };
    const auto attribute = [&](const std::string& name, const std::string& type, const std::string& value) {
        return name + '\0' + type + '\0' + n(value.size(), 4) + value;
    };
    const auto real = [&](float value) { return n(std::bit_cast<uint32_t>(value), 4); };
    std::string channels;
    for (const char* name : {"A", "B", "G", "R"})
        channels += std::string(name) + '\0' + n(2, 4) + n(0, 4) + n(1, 4) + n(1, 4);
    const std::string window = n(0, 8) + n(side(width - 1), 4) + n(side(height - 1), 4);
    std::string file =
        "\x76\x2f\x31\x01" + n(2, 4) + attribute("channels", "chlist", channels + '\0') +
        attribute("compression", "compression", n(0, 1)) + attribute("dataWindow", "box2i", window) +
        attribute("displayWindow", "box2i", window) + attribute("lineOrder", "lineOrder", n(0, 1)) +
        attribute("pixelAspectRatio", "float", real(1)) +
        attribute("screenWindowCenter", "v2f", real(0) + real(0)) +
        attribute("screenWindowWidth", "float", real(1)) + '\0';
    const size_t lineBytes = 4 * 4 * static_cast<size_t>(width);
    const size_t linesAt = file.size() + 8 * static_cast<size_t>(height);
    for (int y = 0; y < height; ++y) file += n(linesAt + side(y) * (8 + lineBytes), 8);
    for (int y = 0; y < height; ++y) {
        file += n(side(y), 4) + n(lineBytes, 4);
        for (int x = 0; x < width; ++x) file += real(alpha(x, y));
        for (int colour = 0; colour < 3 * width; ++colour) file += real(0.5F);
    }
    return file;
}

std::string tiffFile(const Codes& picture, int orientation, const std::string& profile, bool bigEndian) {
    const auto n = [&](uint64_t value, size_t width) { return number(value, width, bigEndian); };
    const std::string body = pixels(picture, bigEndian, false);
    struct Entry {
        int tag, type;
        std::vector<uint32_t> values;
        std::string bytes;
    };
    const auto colours = static_cast<uint32_t>(picture.channels);
    const bool alpha = picture.channels % 2 == 0;
    const uint32_t pixelsAt = 8;
    std::vector<Entry> entries{
        {256, 3, {static_cast<uint32_t>(picture.width)}, {}},
        {257, 3, {static_cast<uint32_t>(picture.height)}, {}},
        {258, 3, std::vector<uint32_t>(colours, static_cast<uint32_t>(picture.depth)), {}},
        {259, 3, {1}, {}},
        {262, 3, {picture.channels <= 2 ? 1U : 2U}, {}},
        {273, 4, {pixelsAt}, {}},
        {277, 3, {colours}, {}},
        {278, 3, {static_cast<uint32_t>(picture.height)}, {}},
        {279, 4, {static_cast<uint32_t>(body.size())}, {}},
        {284, 3, {1}, {}}};
    if (orientation > 0)
        entries.insert(entries.begin() + 6, {274, 3, {static_cast<uint32_t>(orientation)}, {}});
    if (alpha) entries.push_back({338, 3, {2}, {}});
    if (!profile.empty()) entries.push_back({34675, 7, {}, profile});
    entries.push_back({65000, 3, {7}, {}});
    std::string directory = n(entries.size(), 2), data;
    const size_t directoryAt = pixelsAt + body.size() + body.size() % 2;
    const size_t dataAt = directoryAt + 2 + 12 * entries.size() + 4;
    for (const Entry& entry : entries) {
        std::string value = entry.bytes;
        for (const uint32_t v : entry.values) value += n(v, entry.type == 3 ? 2 : 4);
        const size_t count = entry.bytes.empty() ? entry.values.size() : entry.bytes.size();
        directory +=
            n(static_cast<uint64_t>(entry.tag), 2) + n(static_cast<uint64_t>(entry.type), 2) + n(count, 4);
        if (value.size() > 4) {
            directory += n(dataAt + data.size(), 4);
            data += value + std::string(value.size() % 2, '\0');
        } else {
            directory += value + std::string(4 - value.size(), '\0');
        }
    }
    return (bigEndian ? "MM" : "II") + n(42, 2) + n(directoryAt, 4) + body +
           std::string(body.size() % 2, '\0') + directory + n(0, 4) + data;
}

std::string inkJpeg() {
    const auto segment = [](char marker, const std::string& content) {
        return std::string("\xFF") + marker + number(content.size() + 2, 2) + content;
    };
    const auto component = [](int i, int last) {
        return std::string{static_cast<char>(i + 1), static_cast<char>(last)};
    };
    std::string out = "\xFF\xD8" + segment('\xEE', std::string("Adobe\0\x64\0\0\0\0\0", 12));
    out += segment('\xDB', std::string(1, '\0') + std::string(64, '\x01'));
    std::string frame = "\x08" + number(16, 2) + number(16, 2) + "\x04";
    std::string scan = "\x04";
    for (int i = 0; i < 4; ++i) {
        frame += component(i, 0x11) + '\0';
        scan += component(i, 0);
    }
    out += segment('\xC0', frame);
    // One code each, a single zero bit: no difference, and the end of the block.
    for (const char table : {'\x00', '\x10'})
        out += segment('\xC4', table + std::string("\x01", 1) + std::string(15, '\0') + std::string(1, '\0'));
    out += segment('\xDA', scan + std::string("\0\x3F\0", 3));
    return out + std::string(4, '\0') + "\xFF\xD9";
}

std::string withBlocksJpeg(const std::string& jpeg, const Blocks& blocks) {
    std::string out = jpeg.substr(0, 2);
    const auto segment = [&](char marker, const std::string& content) {
        out += std::string("\xFF") + marker + number(content.size() + 2, 2) + content;
    };
    if (!blocks.exif.empty()) segment('\xE1', std::string("Exif\0\0", 6) + blocks.exif);
    constexpr size_t part = 60'000;
    const size_t parts = (blocks.profile.size() + part - 1) / part;
    for (size_t i = 0; i < parts; ++i)
        segment('\xE2', std::string("ICC_PROFILE\0", 12) + static_cast<char>(i + 1) +
                            static_cast<char>(parts) + blocks.profile.substr(i * part, part));
    return out + jpeg.substr(2);
}

std::string withBlocksWebp(const std::string& webp, int width, int height, const Blocks& blocks) {
    std::string chunks;
    const char flags =
        static_cast<char>((blocks.profile.empty() ? 0 : 0x20) | (blocks.exif.empty() ? 0 : 0x08));
    chunks +=
        riffChunk("VP8X", flags + std::string(3, '\0') + number(static_cast<uint64_t>(width - 1), 3, false) +
                              number(static_cast<uint64_t>(height - 1), 3, false));
    if (!blocks.profile.empty()) chunks += riffChunk("ICCP", blocks.profile);
    // The picture's own chunk of the plain file.
    chunks += webp.substr(12);
    if (!blocks.exif.empty()) chunks += riffChunk("EXIF", blocks.exif);
    return "RIFF" + number(chunks.size() + 4, 4, false) + "WEBP" + chunks;
}

std::string exifBlock(int orientation, bool bigEndian) {
    const auto n = [&](uint64_t value, size_t width) { return number(value, width, bigEndian); };
    return (bigEndian ? "MM" : "II") + n(42, 2) + n(8, 4) + n(1, 2) + n(0x0112, 2) + n(3, 2) + n(1, 4) +
           n(static_cast<uint64_t>(orientation), 2) + n(0, 2) + n(0, 4);
}

std::string rgbProfile(const Primaries& p, double gamma, const std::string& name) {
    const cmsCIExyY white{p[6], p[7], 1};
    const cmsCIExyYTRIPLE primaries{{p[0], p[1], 1}, {p[2], p[3], 1}, {p[4], p[5], 1}};
    cmsToneCurve* curve = curveOf(gamma);
    cmsToneCurve* curves[] = {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    describe(profile, name);
    return saved(profile);
}

std::string greyProfile(double gamma, const std::string& name) {
    cmsToneCurve* curve = curveOf(gamma);
    cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    describe(profile, name);
    return saved(profile);
}

std::string swappedTableProfile() {
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE lab = cmsCreateLab2Profile(nullptr);
    cmsHTRANSFORM toLab = cmsCreateTransform(srgb, TYPE_RGB_16, lab, TYPE_LabV2_16,
                                             INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOOPTIMIZE);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 33, 3, 3, nullptr);
    cmsStageSampleCLut16bit(
        table,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void* transform) -> cmsInt32Number {
            const cmsUInt16Number swapped[] = {in[2], in[1], in[0]};
            cmsDoTransform(transform, swapped, out, 1);
            return 1;
        },
        toLab, 0);
    insertTable(pipeline, table, 3);
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigInputClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    describe(profile, "swapped");
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(toLab);
    cmsCloseProfile(srgb);
    cmsCloseProfile(lab);
    return saved(profile);
}

std::string linkProfile() {
    return saved(cmsCreateInkLimitingDeviceLink(cmsSigCmykData, 150));
}

std::string inkProfile() {
    // Full tables belong to presses; this one has only the class and the space of one.
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nullptr);
    cmsStageSampleCLut16bit(
        table,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> cmsInt32Number {
            out[0] = static_cast<cmsUInt16Number>(65535 - in[3]);
            out[1] = out[2] = 0x8080;
            return 1;
        },
        nullptr, 0);
    insertTable(pipeline, table, 4);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    describe(profile, "ink");
    return saved(profile);
}

std::array<double, 3> inSrgb(const Primaries& primaries, double gamma, const std::array<double, 3>& colour) {
    const auto linear = [&](double v) {
        if (gamma > 0) return std::pow(v, gamma);
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    const Matrix chain = product(inverse(toXyz(kSrgb)),
                                 product(adapted(whiteXyz(primaries), whiteXyz(kSrgb)), toXyz(primaries)));
    std::array<double, 3> out = applied(chain, {linear(colour[0]), linear(colour[1]), linear(colour[2])});
    for (double& v : out) {
        v = std::clamp(v, 0.0, 1.0);
        v = v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
    }
    return out;
}

}  // namespace tumblewash::test
