// What becomes of clips' colours, and the one line that tells it: pure planning, no files.
#include "media/ColourPlan.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using media::Codec;
using media::CodecFacts;
using media::codecFor;
using media::codecTable;
using media::ColourMatrix;
using media::ColourPlan;
using media::ColourWishes;
using media::HdrPolicy;
using media::LightLevel;
using media::MasteringDisplay;
using media::MediaError;
using media::MediaErrorCode;
using media::MediaInfo;
using media::MovieKind;
using media::movieKinds;
using media::planColours;
using media::Primaries;
using media::restLine;
using media::Transfer;

namespace {

MediaInfo clip(const std::string& name, Transfer transfer = Transfer::sdr, int depth = 8) {
    MediaInfo out;
    out.path = name;
    out.colour.transfer = transfer;
    out.colour.depth = depth;
    out.colour.chroma = "4:2:0";
    out.colour.primaries = transfer == Transfer::sdr ? Primaries::bt709 : Primaries::bt2020;
    out.matrix = transfer == Transfer::sdr ? ColourMatrix::bt709 : ColourMatrix::bt2020;
    return out;
}

MasteringDisplay brightUpTo(double nits) {
    MasteringDisplay out;
    out.maxNits = nits;
    return out;
}

ColourWishes wishes(HdrPolicy hdr, std::optional<int> depth, std::optional<Codec> codec) {
    ColourWishes out;
    out.hdr = hdr;
    out.depth = depth;
    out.codec = codec;
    return out;
}

ColourPlan plan(const std::vector<MediaInfo>& clips, const ColourWishes& asked = {},
                const std::string& output = "out.mp4") {
    return planColours(clips, asked, output, 1920, 1080);
}

std::string refusal(const std::vector<MediaInfo>& clips, const ColourWishes& asked,
                    const std::string& output = "out.mp4") {
    try {
        plan(clips, asked, output);
    } catch (const MediaError& error) {
        EXPECT_EQ(error.code(), MediaErrorCode::badRequest);
        return error.what();
    }
    return "nothing was refused";
}

const MediaInfo kHlg = clip("a.mov", Transfer::hlg, 10), kPq = clip("p.mp4", Transfer::pq, 10),
                kPlain = clip("b.mp4");

}  // namespace

TEST(ColourPlanTest, OrdinaryClipsAreNotSpokenOf) {
    const ColourPlan out = plan({kPlain, clip("c.mp4")});
    EXPECT_THAT(out.lines, IsEmpty());
    EXPECT_EQ(out.movie.transfer, Transfer::sdr);
    EXPECT_EQ(out.movie.depth, 8);
    EXPECT_EQ(out.movie.codec, Codec::h264);
}

TEST(ColourPlanTest, HdrOfOneKindIsKept) {
    const ColourPlan out = plan({kHlg, clip("c.mov", Transfer::hlg, 10)});
    EXPECT_THAT(out.lines,
                ElementsAre("a.mov: HDR (HLG, 10 bits); kept, as HEVC; --hdr sdr makes an ordinary movie",
                            "c.mov: HDR (HLG, 10 bits); kept, as HEVC; --hdr sdr makes an ordinary movie"));
    EXPECT_EQ(out.movie.transfer, Transfer::hlg);
    EXPECT_EQ(out.movie.depth, 10);
    EXPECT_EQ(out.movie.matrix, ColourMatrix::bt2020);
    EXPECT_EQ(out.movie.codec, Codec::hevc);
    EXPECT_EQ(plan({kPq}, {}, "x.webm").movie.codec, Codec::vp9);
}

TEST(ColourPlanTest, MixedKindsBecomeSdrOrHdrAsAsked) {
    EXPECT_THAT(
        plan({kHlg, kPlain}).lines,
        ElementsAre("a.mov is HDR, b.mp4 is not: a.mov is toned down to SDR; --hdr keep makes both HDR"));
    EXPECT_THAT(
        plan({kHlg, kPq}).lines,
        ElementsAre("a.mov is HLG, p.mp4 is PQ: both are toned down to SDR; --hdr keep makes both HDR"));
    EXPECT_THAT(
        plan({kPq, kPq, kHlg}).lines,
        ElementsAre("p.mp4 is PQ, a.mov is HLG: all are toned down to SDR; --hdr keep makes all HDR"));
    EXPECT_THAT(
        plan({kHlg, kPlain, kPq}).lines,
        ElementsAre("a.mov is HDR, b.mp4 is not: a.mov is toned down to SDR; --hdr keep makes all HDR",
                    "p.mp4 is HDR, b.mp4 is not: p.mp4 is toned down to SDR; --hdr keep makes all "
                    "HDR"));
    EXPECT_EQ(plan({kHlg, kPlain}).movie.transfer, Transfer::sdr);
    const ColourPlan kept = plan({kPlain, kHlg, kPq}, wishes(HdrPolicy::keep, {}, {}));
    EXPECT_EQ(kept.movie.transfer, Transfer::hlg);
    EXPECT_THAT(kept.lines, ElementsAre("b.mp4: SDR; its white is put at 203 nits of the HDR picture",
                                        "a.mov: HDR (HLG, 10 bits); kept, as HEVC",
                                        "p.mp4: PQ becomes HLG by its light, up to 1000 nits"));
    EXPECT_THAT(plan({kHlg}, wishes(HdrPolicy::sdr, {}, {})).lines,
                ElementsAre("a.mov: HDR (HLG, 10 bits) is toned down to SDR"));
}

TEST(ColourPlanTest, OutputsThatHoldNoHdrGetSdr) {
    for (const char* output : {"md5:", "null:", "f%05d.png", "one.png"}) {
        const ColourPlan out = plan({kHlg}, {}, output);
        EXPECT_EQ(out.movie.transfer, Transfer::sdr);
        EXPECT_THAT(out.lines, ElementsAre("a.mov: HDR (HLG, 10 bits) is toned down to SDR"));
        EXPECT_THAT(refusal({kHlg}, wishes(HdrPolicy::keep, {}, {}), output),
                    HasSubstr("--hdr keep is for movies"));
        EXPECT_THAT(refusal({kPlain}, wishes(HdrPolicy::automatic, 10, {}), output),
                    HasSubstr("--depth 10 is for movies"));
        EXPECT_THAT(refusal({kPlain}, wishes(HdrPolicy::automatic, {}, Codec::hevc), output),
                    HasSubstr("--codec is for movies"));
    }
    EXPECT_EQ(plan({kHlg}, wishes(HdrPolicy::automatic, {}, Codec::h264)).movie.transfer, Transfer::sdr);
    EXPECT_EQ(plan({kHlg}, wishes(HdrPolicy::automatic, 8, {})).movie.transfer, Transfer::sdr);
}

TEST(ColourPlanTest, BitsThatAreLostAreNamed) {
    const MediaInfo ten = clip("c.mov", Transfer::sdr, 10);
    EXPECT_THAT(plan({ten}).lines, ElementsAre("c.mov: 10 bits become 8, dithered; --depth 10 keeps them"));
    EXPECT_THAT(plan({ten}, {}, "md5:").lines, ElementsAre("c.mov: 10 bits become 8, dithered"));
    const ColourPlan kept = plan({ten}, wishes(HdrPolicy::automatic, 10, {}));
    EXPECT_THAT(kept.lines, IsEmpty());
    EXPECT_EQ(kept.movie.codec, Codec::hevc);
    EXPECT_EQ(kept.movie.matrix, ColourMatrix::bt709);
    EXPECT_THAT(plan({clip("d.mov", Transfer::sdr, 12)}, wishes(HdrPolicy::automatic, 10, {})).lines,
                ElementsAre("d.mov: 12 bits become 10, dithered"));
    EXPECT_EQ(plan({kPlain}, wishes(HdrPolicy::automatic, {}, Codec::prores), "x.mov").movie.depth, 10);
}

TEST(ColourPlanTest, OtherLossesAreNamed) {
    MediaInfo odd = clip("e.mov", Transfer::hlg, 10);
    odd.colour.dolbyVision = 8;
    odd.colour.hdr10Plus = true;
    odd.colour.brokenLight = true;
    EXPECT_THAT(plan({odd}).lines,
                ElementsAre(HasSubstr("kept"), "e.mov: Dolby Vision data left out, its HLG picture used",
                            "e.mov: HDR10+ data left out, its HLG picture used",
                            "e.mov: its mastering data make no sense and are left out"));
    MediaInfo wide = clip("w.mp4");
    wide.colour.primaries = Primaries::bt2020;
    wide.colour.alpha = true;
    wide.colour.unknownTransfer = true;
    wide.colour.transferName = "log100";
    EXPECT_THAT(plan({wide}).lines,
                ElementsAre(HasSubstr("transparency is laid on black"),
                            "w.mp4: its BT.2020 colours are turned to BT.709",
                            "w.mp4: its transfer log100 is not converted; it is shown as it is"));
    EXPECT_THAT(plan({clip("two\nlines.mov", Transfer::hlg, 10)}).lines.front(),
                HasSubstr("\"two\\nlines.mov\""));
}

TEST(ColourPlanTest, WishesThatContradictAreRefused) {
    EXPECT_THAT(refusal({kHlg}, wishes(HdrPolicy::keep, 8, {})), HasSubstr("HDR needs 10 bits"));
    EXPECT_THAT(refusal({kHlg}, wishes(HdrPolicy::keep, {}, Codec::h264)), HasSubstr("holds 8 bits here"));
    EXPECT_THAT(refusal({kPlain}, wishes(HdrPolicy::automatic, {}, Codec::prores)),
                HasSubstr("prores goes into mov"));
    EXPECT_THAT(refusal({kPlain}, wishes(HdrPolicy::automatic, 10, Codec::h264)),
                HasSubstr("--codec hevc for 10"));
    EXPECT_THAT(refusal({kPlain}, wishes(HdrPolicy::automatic, 8, Codec::prores), "x.mov"),
                HasSubstr("holds 10 bits"));
}

TEST(ColourPlanTest, TheMatrixIsTheFirstClipsOwn) {
    MediaInfo old = clip("o.mpg");
    old.matrix = ColourMatrix::bt601;
    EXPECT_EQ(planColours({kPlain, old}, {}, "o.mp4", 640, 360).movie.matrix, ColourMatrix::bt709);
    EXPECT_EQ(planColours({old, kPlain}, {}, "o.mp4", 1920, 1080).movie.matrix, ColourMatrix::bt601);
    EXPECT_EQ(planColours({old, kHlg}, {}, "o.mp4", 640, 360).movie.matrix, ColourMatrix::bt709);
    MediaInfo drawn = clip("pattern:bars");
    drawn.colour.chroma = "RGB";
    EXPECT_EQ(planColours({drawn}, {}, "o.mp4", 640, 360).movie.matrix, ColourMatrix::bt601);
    EXPECT_EQ(planColours({drawn, kPlain}, {}, "o.mp4", 640, 360).movie.matrix, ColourMatrix::bt709);
}

TEST(ColourPlanTest, LightDataThatAgreeAreKeptElseTheBrightestTold) {
    MediaInfo one = kPq, other = kPq;
    one.colour.mastering = other.colour.mastering = brightUpTo(1000);
    one.colour.light = LightLevel{800, 200};
    other.colour.light = LightLevel{1500, 100};
    const auto movie = plan({one, other}).movie;
    EXPECT_EQ(movie.mastering, one.colour.mastering);
    EXPECT_EQ(movie.light, (LightLevel{1500, 200}));
    EXPECT_EQ(plan({one, one}).movie.light, one.colour.light);
    EXPECT_FALSE(plan({kPq}).movie.light);
    EXPECT_FALSE(plan({one, kPlain}).movie.light);
}

TEST(ColourPlanTest, TheRestOfAClipIsOneLine) {
    MediaInfo info = clip("m.mkv");
    EXPECT_EQ(restLine(info, 2), "");
    info.channels = 6;
    info.channelLayout = "5.1";
    EXPECT_EQ(restLine(info, 2), "m.mkv: 5.1 sound is folded to stereo");
    EXPECT_EQ(restLine(info, 0), "");
    info.leftOut = {"1 more sound track", "the cover picture"};
    EXPECT_EQ(restLine(info, 2),
              "m.mkv: 5.1 sound is folded to stereo; left out: 1 more sound track, the cover picture");
    EXPECT_EQ(restLine(info, 0), "m.mkv: left out: 1 more sound track, the cover picture");
}

TEST(CodecTableTest, EveryRowHoldsTogether) {
    for (const CodecFacts& facts : codecTable()) {
        EXPECT_TRUE(facts.eight || facts.ten) << facts.word;
        EXPECT_FALSE(media::endingsOf(facts.id).empty()) << facts.word;
    }
    for (const MovieKind& kind : movieKinds()) {
        const std::string output = std::string("x") + kind.ending;
        EXPECT_EQ(codecFor(output, {}, 8), kind.codecs.front());
        EXPECT_EQ(media::carriesTenBits(output, {}), kind.deepCodec.has_value()) << output;
        if (kind.deepCodec)
            EXPECT_TRUE(media::factsOf(codecFor(output, {}, 10)).ten);
        else
            EXPECT_THROW(codecFor(output, {}, 10), media::MediaError) << output;
        for (const Codec codec : kind.alpha) EXPECT_TRUE(media::factsOf(codec).alpha);
    }
}

TEST(ColourPlanTest, LightDataOfLaterClipsCountAlsoWhereTheFirstHasNone) {
    MediaInfo said = kPq, brighter = kPq;
    said.colour.mastering = brightUpTo(600);
    said.colour.light = LightLevel{500, 90};
    brighter.colour.mastering = brightUpTo(4000);
    const auto movie = plan({kPq, said, brighter}).movie;
    EXPECT_EQ(movie.mastering, brighter.colour.mastering);
    EXPECT_EQ(movie.light, (LightLevel{500, 90}));
    EXPECT_EQ(plan({brighter, said}).movie.mastering, brighter.colour.mastering);
}

TEST(ColourPlanTest, TransparencyHasItsCodecsAndNoHdr) {
    ColourWishes asked;
    asked.alpha = true;
    EXPECT_EQ(plan({kPlain}, asked, "x.mov").movie.codec, Codec::prores);
    EXPECT_EQ(plan({kPlain}, asked, "x.webm").movie.codec, Codec::vp9);
    asked.codec = Codec::h264;
    EXPECT_THAT(refusal({kPlain}, asked, "x.mov"),
                HasSubstr("transparency goes into ProRes here; leave out --codec"));
    asked.codec.reset();
    asked.depth = 10;
    EXPECT_EQ(plan({kPlain}, asked, "x.mov").movie.depth, 10);
    EXPECT_THAT(refusal({kPlain}, asked, "x.webm"),
                HasSubstr("VP9 holds transparency with 8 bits; leave out --depth 10"));
    asked.depth.reset();
    asked.hdr = HdrPolicy::keep;
    EXPECT_THAT(refusal({kHlg}, asked, "x.mov"),
                HasSubstr("--alpha is for ordinary pictures; leave out --hdr keep"));
}

TEST(ColourPlanTest, WideColoursAreCalledByTheirNames) {
    for (const auto& [primaries, name] : {std::pair{Primaries::displayP3, "Display P3"},
                                          {Primaries::dciP3, "DCI-P3"},
                                          {Primaries::bt2020, "BT.2020"}}) {
        MediaInfo wide = clip("w.mov");
        wide.colour.primaries = primaries;
        EXPECT_THAT(plan({wide}).lines, ElementsAre(HasSubstr(std::string("its ") + name +
                                                              " colours are turned "
                                                              "to BT.709")));
    }
}

}  // namespace tumblewash::test
