#include "tests/media/HeifFiles.h"

#include <gtest/gtest.h>
#include <libheif/heif.h>

#include <cstring>

namespace tumblewash::test {

namespace {

std::string number(uint64_t value, size_t width) {
    std::string out(width, '\0');
    for (size_t i = 0; i < width; ++i) out[width - 1 - i] = static_cast<char>(value >> (8 * i) & 0xFF);
    return out;
}
std::string box(const std::string& name, const std::string& content) {
    return number(content.size() + 8, 4) + name + content;
}
std::string fullBox(const std::string& name, int version, const std::string& content) {
    return box(name, static_cast<char>(version) + std::string(3, '\0') + content);
}

void expectGood(const heif_error& error) {
    ASSERT_EQ(error.code, heif_error_Ok) << error.message;
}

heif_image* imageOf(const Codes& picture, int depth) {
    const bool alpha = picture.channels == 4;
    const heif_chroma chroma =
        depth == 8 ? (alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB)
                   : (alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE);
    heif_image* image = nullptr;
    expectGood(heif_image_create(picture.width, picture.height, heif_colorspace_RGB, chroma, &image));
    expectGood(heif_image_add_plane(image, heif_channel_interleaved, picture.width, picture.height, depth));
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            for (int c = 0; c < picture.channels; ++c) {
                const int stored = picture.at(x, y, c), more = depth - picture.depth;
                const int code = more < 0 ? stored >> -more : stored << more;
                const int at = picture.channels * x + c;
                uint8_t* row = plane + ptrdiff_t{y} * stride;
                if (depth == 8) {
                    row[at] = static_cast<uint8_t>(code);
                } else {
                    row[2 * at] = static_cast<uint8_t>(code & 0xFF);
                    row[2 * at + 1] = static_cast<uint8_t>(code >> 8);
                }
            }
    return image;
}

}  // namespace

std::string heifFile(const Codes& picture, const HeifWish& wish) {
    heif_context* context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    expectGood(heif_context_get_encoder_for_format(
        context, wish.avif ? heif_compression_AV1 : heif_compression_HEVC, &encoder));
    heif_encoder_set_lossless(encoder, 1);
    if (!wish.subsampled) heif_encoder_set_parameter_string(encoder, "chroma", "444");
    if (wish.avif) heif_encoder_set_parameter_integer(encoder, "speed", 9);
    heif_image* image = imageOf(picture, wish.depth);
    if (!wish.blocks.profile.empty())
        heif_image_set_raw_color_profile(image, "prof", wish.blocks.profile.data(),
                                         wish.blocks.profile.size());
    heif_encoding_options* options = heif_encoding_options_alloc();
    heif_color_profile_nclx* tags = heif_nclx_color_profile_alloc();
    heif_nclx_color_profile_set_color_primaries(tags, static_cast<uint16_t>(wish.primaries));
    heif_nclx_color_profile_set_transfer_characteristics(tags, static_cast<uint16_t>(wish.transfer));
    heif_nclx_color_profile_set_matrix_coefficients(tags, 6);
    tags->full_range_flag = 1;
    options->output_nclx_profile = tags;
    options->macOS_compatibility_workaround_no_nclx_profile = 0;
    options->save_two_colr_boxes_when_ICC_and_nclx_available = 1;
    options->image_orientation = static_cast<heif_orientation>(wish.turn);
    heif_image_handle* handle = nullptr;
    expectGood(heif_context_encode_image(context, image, encoder, options, &handle));
    if (!wish.blocks.exif.empty())
        expectGood(heif_context_add_exif_metadata(context, handle, wish.blocks.exif.data(),
                                                  static_cast<int>(wish.blocks.exif.size())));
    std::string out;
    heif_writer writer{1, [](heif_context*, const void* data, size_t size, void* to) {
                           static_cast<std::string*>(to)->append(static_cast<const char*>(data), size);
                           return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
                       }};
    expectGood(heif_context_write(context, &writer, &out));
    // The encoder keeps primaries and transfer to itself.
    for (size_t at = out.find("nclx"); at != std::string::npos; at = out.find("nclx", at + 4))
        out.replace(at + 4, 4,
                    number(static_cast<uint64_t>(wish.primaries), 2) +
                        number(static_cast<uint64_t>(wish.transfer), 2));
    heif_nclx_color_profile_free(tags);
    heif_encoding_options_free(options);
    heif_image_handle_release(handle);
    heif_image_release(image);
    heif_encoder_release(encoder);
    heif_context_free(context);
    return out;
}

CodedPicture codedPicture(const std::string& file) {
    const auto boxAt = [&](const std::string& name) {
        const size_t at = file.find(name) - 4;
        size_t length = 0;
        for (size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<uint8_t>(file[at + i]);
        return file.substr(at, length);
    };
    return {boxAt("mdat").substr(8), boxAt(file.find("av1C") == std::string::npos ? "hvcC" : "av1C"),
            boxAt("colr")};
}

std::string heifOf(uint16_t primary, const std::vector<HeifItem>& items,
                   const std::vector<HeifReference>& references, const std::vector<std::string>& properties) {
    std::string entries, places, data, associations, brand = "avif";
    for (const HeifItem& item : items) {
        if (item.type == "hvc1") brand = "heic";
        entries += fullBox("infe", 2, number(item.id, 2) + number(0, 2) + item.type + '\0');
        // Data of items stands in the table itself: construction method 1.
        places += number(item.id, 2) + number(1, 2) + number(0, 2) + number(1, 2) + number(data.size(), 4) +
                  number(item.data.size(), 4);
        data += item.data;
        associations += number(item.id, 2) + number(item.properties.size(), 1);
        for (const int property : item.properties) associations += static_cast<char>(property);
    }
    std::string links;
    for (const HeifReference& reference : references) {
        std::string to;
        for (const uint16_t id : reference.to) to += number(id, 2);
        links += box(reference.type, number(reference.from, 2) + number(reference.to.size(), 2) + to);
    }
    std::string boxes;
    for (const std::string& property : properties) boxes += property;
    const std::string meta =
        fullBox("hdlr", 0, number(0, 4) + "pict" + std::string(13, '\0')) +
        fullBox("pitm", 0, number(primary, 2)) +
        fullBox("iloc", 1, number(0x44, 1) + number(0, 1) + number(items.size(), 2) + places) +
        fullBox("iinf", 0, number(items.size(), 2) + entries) +
        (links.empty() ? std::string() : fullBox("iref", 0, links)) +
        box("iprp", box("ipco", boxes) + fullBox("ipma", 0, number(items.size(), 4) + associations)) +
        box("idat", data);
    return box("ftyp", brand + number(0, 4) + "mif1miaf" + brand) + fullBox("meta", 0, meta);
}

std::string sizeProperty(uint32_t width, uint32_t height) {
    return fullBox("ispe", 0, number(width, 4) + number(height, 4));
}

std::string profileProperty(const std::string& icc) {
    return box("colr", "prof" + icc);
}

std::string auxiliaryProperty(const std::string& kind) {
    return fullBox("auxC", 0, kind + '\0');
}

std::string alphaProperty() {
    return auxiliaryProperty("urn:mpeg:mpegB:cicp:systems:auxiliary:alpha");
}

std::string gridData(int rows, int columns, int width, int height) {
    const auto n = [](int value, size_t size) { return number(static_cast<uint64_t>(value), size); };
    return n(0, 1) + n(width > 65535 || height > 65535 ? 1 : 0, 1) + n(rows - 1, 1) + n(columns - 1, 1) +
           n(width, width > 65535 || height > 65535 ? 4 : 2) +
           n(height, width > 65535 || height > 65535 ? 4 : 2);
}

}  // namespace tumblewash::test
