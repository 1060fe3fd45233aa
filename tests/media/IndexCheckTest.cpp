// An index that does not lead to the packets is noticed, whichever part of it is wrong.
#include <fcntl.h>

#include "media/Descriptor.h"
#include "media/detail/EncodedCount.h"
#include "media/detail/IndexCheck.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

/// What a muxer would have been told, read back from a file that is whole.
class IndexCheckTest : public testing::Test {
  protected:
    IndexCheckTest() {
        WriterSettings settings = smallMovie();
        Writer writer = Writer::open(dir_ / "whole.mp4", settings);
        const std::vector<float> sound(2 * 48000 / 25, 0.25F);
        for (int i = 0; i < 10; ++i) {
            writer.writePicture(solid(settings.width, settings.height, {20 * i, 80, 200}));
            writer.writeSamples(sound.data(), sound.size() / 2);
        }
        writer.commit();
        whole_ = readFile(dir_ / "whole.mp4");
        AVDictionary* options = nullptr;
        av_dict_set(&options, "ignore_editlist", "1", 0);
        AVFormatContext* raw = nullptr;
        EXPECT_GE(avformat_open_input(&raw, (dir_ / "whole.mp4").c_str(), nullptr, &options), 0);
        av_dict_free(&options);
        const InputPtr file(raw);
        EXPECT_GE(avformat_alloc_output_context2(&muxer_, nullptr, "mp4", nullptr), 0);
        for (unsigned i = 0; i < raw->nb_streams; ++i)
            avcodec_parameters_copy(avformat_new_stream(muxer_, nullptr)->codecpar,
                                    raw->streams[i]->codecpar);
        const PacketPtr packet = newPacket();
        for (; av_read_frame(raw, packet.get()) >= 0; av_packet_unref(packet.get())) check_.note(*packet, 1);
    }
    ~IndexCheckTest() override { avformat_free_context(muxer_); }

    /// What the check says of a file of these bytes.
    bool holds(const std::string& bytes) {
        writeFile(dir_ / "tried.mp4", bytes);
        const Descriptor file(::open((dir_ / "tried.mp4").c_str(), O_RDWR | O_CLOEXEC));
        const MuxerFile way(*muxer_, file.get(), nullptr);
        return check_.holds(way, *muxer_);
    }
    /// The file with `value` added to the byte `at` bytes behind an atom's name.
    std::string changed(const std::string& atom, size_t at, int value) const {
        std::string out = whole_;
        const size_t place = out.find(atom);
        EXPECT_NE(place, std::string::npos) << atom;
        out[place + at] = static_cast<char>(out[place + at] + value);
        return out;
    }

    TempDir dir_;
    std::string whole_;
    AVFormatContext* muxer_ = nullptr;
    IndexCheck check_;
};

}  // namespace

TEST_F(IndexCheckTest, AWholeFileHolds) {
    EXPECT_TRUE(holds(whole_));
}

TEST_F(IndexCheckTest, AnIndexThatLeadsElsewhereDoesNot) {
    EXPECT_FALSE(holds(changed("stco", 15, 4)));   // where the first pictures lie
    EXPECT_FALSE(holds(changed("stsz", 15, -1)));  // how many there are
    EXPECT_FALSE(holds(changed("avcC", 0, 1)));    // how they are decoded
    EXPECT_FALSE(holds(changed("avcC", 12, 9)));   // the same, in words of its own
    EXPECT_FALSE(holds(changed("esds", 0, 1)));
    EXPECT_FALSE(holds(changed("trak", 0, 1)));
    EXPECT_FALSE(holds(changed("moov", 0, 1)));
}

TEST(EncodedCountTest, APacketThatIsMissingIsNoticed) {
    EncodedCount pictures;
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(pictures.whole(1, 0));
        pictures.given(1);
        EXPECT_FALSE(pictures.whole(1, 0));
        pictures.packet();
    }
    EXPECT_TRUE(pictures.whole(1, 0));
    // 2049 samples behind a lead-in of 1024 begin a fourth packet of 1024.
    EncodedCount sound;
    sound.given(2049);
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(sound.whole(1024, 1024));
        sound.packet();
    }
    EXPECT_TRUE(sound.whole(1024, 1024));
    EXPECT_TRUE(sound.whole(0, 0)) << "packets of any size owe nothing";
    sound.packet();
    EXPECT_TRUE(sound.whole(1024, 1024));
}

}  // namespace tumblewash::test
