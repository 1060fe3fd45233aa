#include "tests/media/Support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tumblewash::test {

using media::PictureRef;
using media::Reader;
using media::WriterSettings;

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string name = (fs::temp_directory_path() / "tumblewash-media-").string() + std::string(6, 'X');
    if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code error;
    fs::remove_all(path_, error);
}

std::vector<std::string> TempDir::names() const {
    std::vector<std::string> out;
    for (const auto& entry : fs::directory_iterator(path_)) out.push_back(entry.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

void ffmpeg(const std::string& arguments) {
    const std::string command = "ffmpeg -v error -nostdin -y " + arguments;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    char part[4096];
    for (size_t n = 0; pipe != nullptr && (n = fread(part, 1, sizeof part, pipe)) > 0;) out.append(part, n);
    if (pipe != nullptr) pclose(pipe);
    return out;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

Rgb pixel(const PictureRef& picture, int x, int y) {
    const uint8_t* p = picture.data() + y * picture.stride() + ptrdiff_t{4} * x;
    return {p[1], p[2], p[3]};
}

std::string bytesOf(const PictureRef& picture) {
    const size_t size = static_cast<size_t>(picture.stride()) * static_cast<size_t>(picture.height());
    return {reinterpret_cast<const char*>(picture.data()), size};
}

std::vector<std::string> allPictures(Reader& reader) {
    std::vector<std::string> out;
    while (const PictureRef picture = reader.readPicture()) out.push_back(bytesOf(picture));
    return out;
}

std::vector<float> leftChannel(Reader& reader, size_t frames) {
    std::vector<float> both(2 * frames);
    reader.readSamples(both.data(), frames);
    std::vector<float> out(frames);
    for (size_t i = 0; i < frames; ++i) out[i] = both[2 * i];
    return out;
}

PictureRef solid(int width, int height, Rgb colour, int alpha) {
    PictureRef out = PictureRef::makeArgb(width, height);
    for (int i = 0; i < width * height; ++i) {
        out.data()[4 * i] = static_cast<uint8_t>(alpha);
        for (int c = 0; c < 3; ++c)
            out.data()[4 * i + 1 + c] = static_cast<uint8_t>(colour[static_cast<size_t>(c)]);
    }
    return out;
}

WriterSettings smallMovie(int width, int height) {
    WriterSettings out;
    out.width = width;
    out.height = height;
    out.preset = "ultrafast";
    return out;
}

}  // namespace tumblewash::test
