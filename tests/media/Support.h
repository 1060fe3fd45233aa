// What the tests of this room share: a folder that goes away, inputs made on the spot, whole clips read at
// once. No expectations of its own beyond "the input could be made".
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "media/Reader.h"
#include "media/StillIO.h"
#include "media/Writer.h"

namespace tumblewash::test {

/// A fresh folder, removed with all it holds.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }
    /// Names in it, hidden ones too, sorted.
    std::vector<std::string> names() const;

  private:
    std::string path_;
};

/// Runs the ffmpeg program, quietly, overwriting. Fails the test when it fails.
void ffmpeg(const std::string& arguments);
/// Standard output of a shell command.
std::string outputOf(const std::string& command);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

using Rgb = std::array<int, 3>;
Rgb pixel(const media::PictureRef& picture, int x, int y);
/// All bytes of an ARGB picture.
std::string bytesOf(const media::PictureRef& picture);
/// All pictures as bytes, from where the reader stands.
std::vector<std::string> allPictures(media::Reader& reader);
/// The first `frames` sample frames, left channel.
std::vector<float> leftChannel(media::Reader& reader, size_t frames);

/// Code of the MediaError that `action` throws; fails the test when it throws none, or its line names no
/// file.
template <typename Action>
media::MediaErrorCode failureOf(Action action, const std::string& file) {
    try {
        action();
    } catch (const media::MediaError& error) {
        EXPECT_THAT(std::string(error.what()), ::testing::HasSubstr(file));
        EXPECT_THAT(std::string(error.what()), ::testing::Not(::testing::HasSubstr("\n")));
        return error.code();
    }
    ADD_FAILURE() << "nothing was refused: " << file;
    return media::MediaErrorCode::encoding;
}

/// A solid picture.
media::PictureRef solid(int width, int height, Rgb colour, int alpha = 255);

media::WriterSettings smallMovie(int width = 64, int height = 48);

}  // namespace tumblewash::test
