// Pieces of movies that were written by somebody else: what cannot be put into a file is refused.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "media/Pieces.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

struct Times {
    std::int64_t pts = 0, dts = 0, duration = 1;
};

std::string numbers(const std::vector<std::int64_t>& values) {
    std::string out;
    for (const std::int64_t value : values)
        for (int i = 0; i < 8; ++i)
            out.push_back(static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i)));
    return out;
}

/// A piece of pictures whose packets of three bytes have these times.
std::string pieceOf(const std::vector<Times>& packets) {
    constexpr std::int64_t kPictures = 1, kPacket = 1, kEnd = 3;
    std::string out = "twpiece1" + numbers({kPictures, 0});
    for (const Times& t : packets)
        out += numbers({kPacket, t.pts, t.dts, t.duration, 0, 3}) + "abc" + numbers({0});
    return out + numbers({kEnd, static_cast<std::int64_t>(packets.size()), 0});
}

}  // namespace

TEST(PiecesTest, PacketsInOrderAreRead) {
    const TempDir dir;
    writeFile(dir / "a.piece", pieceOf({{0, -1, 1}, {2, 0, 1}, {1, 1, 1}}));
    const PieceFacts facts = readPiece(dir / "a.piece");
    EXPECT_EQ(facts.packets, 3);
    EXPECT_EQ(facts.delay, 1);
}

TEST(PiecesTest, TimesThatNoFileHoldsAreRefused) {
    const TempDir dir;
    constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max();
    const std::vector<std::vector<Times>> wrong{
        {{kFar, 0, 1}},
        {{0, -kFar, 1}},
        {{0, 1, 1}},  // decoded after it is shown
        {{0, 0, -1}},
        {{0, 0, kFar}},  // lengths
        {{0, 0, 1}, {1, 0, 1}},
        {{5, 5, 1}, {6, 4, 1}},  // order of decoding
        {{-kFar - 1, -kFar - 1, 1}},
    };
    for (const std::vector<Times>& packets : wrong) {
        writeFile(dir / "a.piece", pieceOf(packets));
        EXPECT_EQ(failureOf([&] { readPiece(dir / "a.piece"); }, "a.piece"), MediaErrorCode::undecodable);
    }
}

}  // namespace tumblewash::test
