// The encoder between copied pictures: decoders meet no change where they pass from the one to the other.
#include <gtest/gtest.h>

#include "media/detail/AvcSets.h"
#include "media/detail/IndexDetail.h"
#include "media/detail/SeamEncoder.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::CopyPlan;
using media::PacketIndex;
using media::readAvcHeader;

// A decoder that makes room for another number of references begins anew, and some lose the pictures that
// wait to be shown then. This holds for large pictures too, whose encoder would otherwise keep fewer.
TEST(SeamEncoderTest, KeepsAsManyReferencesAsTheClipBesideIt) {
    const TempDir folder;
    for (const char* size : {"64x48", "1600x960"})
        for (const char* coding :
             {"bframes=3:b-pyramid=normal:ref=3", "bframes=3:b-pyramid=none:ref=2", "bframes=0:ref=5"}) {
            ffmpeg(std::string("-f lavfi -i testsrc2=r=25:s=") + size +
                   " -frames:v 8 -pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params " + coding +
                   " " + folder / "a.mp4");
            const auto clip = PacketIndex::read(folder / "a.mp4");
            ASSERT_EQ(clip->trouble(), "") << coding;
            media::WriterSettings settings = smallMovie();
            settings.width = clip->facts().width;
            settings.height = clip->facts().height;
            settings.threads = 2;
            const auto codec = media::openSeamEncoder(folder / "out.mp4", settings, CopyPlan{{clip}, {}});
            const auto own = readAvcHeader({codec->extradata, codec->extradata + codec->extradata_size});
            const auto theirs = readAvcHeader(clip->detail().header.bytes);
            ASSERT_TRUE(theirs) << coding;
            ASSERT_TRUE(own) << coding;
            EXPECT_EQ(own->sps.begin()->second.references, theirs->sps.begin()->second.references)
                << size << " " << coding;
        }
}

}  // namespace tumblewash::test
