#include "app/OptionTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "edit/Decibels.h"
#include "edit/Errors.h"
#include "edit/Nearest.h"
#include "edit/Words.h"
#include "farm/Engine.h"

namespace tumblewash::app {

using edit::didYouMean;
using edit::parseDecimal;
using edit::parseRate;
using edit::parseSize;
using edit::parseTime;
using edit::Problem;
using edit::Refusal;
using host::AudioPolicy;
using media::Fit;

namespace {

template <typename T>
T parseInteger(const std::string& text, T least, T most, const char* name) {
    T value{};
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem != std::errc{} || end != text.data() + text.size() || value < least || value > most)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{} {}: give a whole number from {} to {}", name, text, least, most));
    return value;
}

template <class Value>
Value parseWord(const std::string& text, std::span<const edit::Word<Value>> table, const char* name) {
    if (const auto value = edit::meaningOf(table, text)) return *value;
    const std::vector<std::string> known = edit::wordsOf(table);
    throw Refusal(Problem::BadRequest, fmt::format("{} {}: choose one of {}{}", name, text,
                                                   fmt::join(known, ", "), didYouMean(text, known)));
}

/// The words between commas.
std::vector<std::string> listed(const std::string& text, const char* name, const char* what) {
    std::vector<std::string> words;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        words.push_back(text.substr(start, comma == std::string::npos ? comma : comma - start));
        if (words.back().empty())
            throw Refusal(Problem::BadRequest, fmt::format("{} {}: {} is missing", name, text, what));
        if (comma == std::string::npos) return words;
        start = comma + 1;
    }
}

void storeEffects(Options& o, const std::string& text) {
    o.effects = listed(text, "--effect", "an id");
}

void storeDurations(Options& o, const std::string& text) {
    for (const std::string& word : listed(text, "--duration", "a time"))
        o.durations.push_back(parseTime(word));
}

/// `ID` or `ID=TIME`.
EndEffect parseEnd(const char* name, const std::string& text) {
    const std::size_t equals = text.find('=');
    EndEffect end{text.substr(0, equals), {}};
    if (end.effect.empty())
        throw Refusal(Problem::BadRequest, fmt::format("{} {}: an id is missing", name, text));
    if (equals != std::string::npos) end.duration = parseTime(text.substr(equals + 1));
    return end;
}

/// `FROM..TO`, either of which may be left out.
void storeOnly(Options& o, const std::string& text) {
    const std::size_t dots = text.find("..");
    const std::string first = text.substr(0, dots);
    const std::string end = dots == std::string::npos ? "" : text.substr(dots + 2);
    if (first.empty() && end.empty())
        throw Refusal(Problem::BadRequest,
                      fmt::format("--only {}: write FROM..TO, FROM.. or ..TO, e.g. 00:10..00:14", text));
    if (dots == std::string::npos)
        throw Refusal(Problem::BadRequest,
                      fmt::format("--only {}: write a stretch, {}..TO or ..{}", text, first, first));
    o.only.emplace();
    if (!first.empty()) o.only->first = parseTime(first);
    if (!end.empty()) o.only->end = parseTime(end);
}

void storeSpeed(Options& o, const std::string& text) {
    std::int64_t micros = 0;
    if (!parseDecimal(text, micros) || micros > 1000000)
        throw Refusal(Problem::BadRequest,
                      fmt::format("--speed {}: give a number from 0 to 1, e.g. 0.5", text));
    o.speed = static_cast<float>(static_cast<double>(micros) / 1e6);
}

void storeDirection(Options& o, const std::string& text) {
    o.direction = parseWord(text, edit::directionWords(), "--direction");
}

void storeFit(Options& o, const std::string& text) {
    o.fit = parseWord(text, edit::fitWords(), "--fit");
}

void storeStillMotion(Options& o, const std::string& text) {
    o.stillMotion = parseWord(text, edit::stillMotionWords(), "--still-motion");
}

void storeAudio(Options& o, const std::string& text) {
    o.audio = parseWord(text, edit::audioWords(), "--audio");
}

void storeDuck(Options& o, const std::string& text) {
    o.duck = edit::parseDecibels(text);
    if (o.duck < 0) throw Refusal(Problem::BadRequest, fmt::format("--duck {}: give 0dB to 24dB", text));
}

void storeChannels(Options& o, const std::string& text) {
    o.channels = parseWord(text, edit::channelWords(), "--channels");
}

void storeTheme(Options& o, const std::string& text) {
    static constexpr edit::Word<Theme> kWords[] = {{"dark", Theme::Dark}, {"light", Theme::Light}};
    o.theme = parseWord<Theme>(text, kWords, "--theme");
}

void storeProgress(Options& o, const std::string& text) {
    static constexpr edit::Word<ProgressStyle> kWords[] = {{"auto", ProgressStyle::Auto},
                                                           {"kv", ProgressStyle::KeyValue},
                                                           {"json", ProgressStyle::Json},
                                                           {"none", ProgressStyle::None}};
    o.progress = parseWord<ProgressStyle>(text, kWords, "--progress");
}

void storePreset(Options& o, const std::string& text) {
    o.preset = parseWord(text, edit::presetWords(), "--preset");
}

/// Where what is asked of codec, depth and HDR goes: `render` has its edit from a document, and what is said
/// beside that counts instead; elsewhere it belongs to the edit.
media::ColourWishes& wishesOf(Options& o) {
    return o.command == Command::Render ? o.colour : o.wishes;
}

void storeCodec(Options& o, const std::string& text) {
    wishesOf(o).codec = parseWord(text, edit::codecWords(), "--codec");
}

void storeDepth(Options& o, const std::string& text) {
    static constexpr edit::Word<int> kWords[] = {{"8", 8}, {"10", 10}};
    wishesOf(o).depth = parseWord<int>(text, kWords, "--depth");
}

void storeHdr(Options& o, const std::string& text) {
    wishesOf(o).hdr = parseWord(text, edit::hdrWords(), "--hdr");
}

void storeToneMap(Options& o, const std::string& text) {
    wishesOf(o).toneMap = parseWord(text, edit::toneMapWords(), "--tone-map");
}

void storeCopyBodies(Options& o, const std::string& text) {
    o.copyBodies = parseWord(text, edit::copyBodiesWords(), "--copy-bodies");
}

void storePart(Options& o, const std::string& text) {
    o.part = text == "sound" ? farm::kSoundPart : parseInteger(text, 0, 100000, "--part");
}

void storeFormat(Options& o, const std::string& text) {
    static constexpr edit::Word<const char*> kWords[] = {
        {"mp4", "mp4"}, {"mov", "mov"}, {"mkv", "mkv"}, {"webm", "webm"}, {"avi", "avi"}};
    o.format = parseWord<const char*>(text, kWords, "--format");
}

constexpr unsigned kJoin = commandBit(Command::Join) | commandBit(Command::Slideshow);
constexpr unsigned kMovies = kJoin | commandBit(Command::Out) | commandBit(Command::In);
constexpr unsigned kPlan = commandBit(Command::Plan);
constexpr unsigned kRender = commandBit(Command::Render);
constexpr unsigned kExecute = kMovies | kRender;  ///< render an edit
constexpr unsigned kEdits = kExecute | kPlan;     ///< say what it is; render where other programs do not
constexpr unsigned kDocuments = kPlan | kRender;  ///< read an edit
constexpr unsigned kFrame = commandBit(Command::Frame);
constexpr unsigned kSheet = commandBit(Command::Sheet);
constexpr unsigned kField = commandBit(Command::Field);
constexpr unsigned kPictures = kFrame | kSheet | kField;
constexpr unsigned kEffects = kEdits | kPictures;
constexpr unsigned kRenders = kExecute | kPictures;
constexpr unsigned kStudio = commandBit(Command::Studio);
constexpr unsigned kDemo = commandBit(Command::Demo);
constexpr unsigned kList = commandBit(Command::List);
constexpr unsigned kScript = commandBit(Command::FfmpegScript);
constexpr unsigned kMerge = commandBit(Command::Merge);
constexpr unsigned kSubmit = commandBit(Command::Submit);
constexpr unsigned kStatus = commandBit(Command::Status);
constexpr unsigned kBatch = commandBit(Command::Batch);
constexpr unsigned kStarts = kSubmit | kBatch;  ///< start many runs
constexpr unsigned kFarm = kMerge | kStarts | kStatus;
constexpr unsigned kEvery = kRenders | kPlan | kStudio | kDemo | kList | kScript | kFarm;

constexpr const char* kEffectGroup = "Effect";
constexpr const char* kPictureGroup = "Picture";
constexpr const char* kSoundGroup = "Sound";
constexpr const char* kOutputGroup = "Output";
constexpr const char* kRunGroup = "Running";

const OptionRow kOptions[] = {
    {"--output", "-o", "FILE", ValueKind::File, "", kOutputGroup,
     "the output: .mp4, .mov, .mkv, .webm, .avi, a %05d.png sequence, md5:, md5:FILE or null:; a .png for "
     "pictures; an .edit.json, .plan.json, .otio, .edl or .ffconcat for plan; a folder for a part",
     kRenders | kPlan | kScript | kMerge | kSubmit, [](Options& o, const std::string& v) { o.output = v; }},
    {"--force", "-f", "", ValueKind::None, "", kOutputGroup, "replace an existing output",
     kRenders | kPlan | kDemo | kScript | kMerge | kStarts,
     [](Options& o, const std::string&) { o.force = true; }},
    {"--report", "", "FILE.json", ValueKind::File, "", kOutputGroup,
     "write a report: effects, frames, sizes, seeds, sound levels, fades, timings", kExecute | kFrame,
     [](Options& o, const std::string& v) { o.report = v; }},
    {"--mlt", "", "FILE.mlt", ValueKind::File, "", kOutputGroup,
     "write the join as an MLT project for melt, Shotcut and Kdenlive; -o is then optional", kJoin | kRender,
     [](Options& o, const std::string& v) { o.mlt = v; }},
    {"--effect", "-e", "ID[,ID...]", ValueKind::Effect, "", kEffectGroup,
     "the transition, by id or index (see list); several are used in turn; shuffle picks them at random by "
     "--seed; all for a sheet",
     kEffects | kScript, storeEffects},
    {"--duration", "-d", "TIME[,TIME...]", ValueKind::Text, "", kEffectGroup,
     "length of a transition: 1.5s, 500ms, 45f; made even, 2 frames or more; several are used in turn "
     "(default as long as the clips allow, at most 1s)",
     kEdits | kSheet | kScript, storeDurations},
    {"--speed", "", "0..1", ValueKind::Text, "", kEffectGroup,
     "length of a transition on the effect's own scale: 0 is 10 frames, 1 is 120", kEdits, storeSpeed},
    {"--direction", "", "WAY", ValueKind::Choice, "up,down,left,right", kEffectGroup,
     "the edge towards which a wash leaves (default right)", kEffects | kScript, storeDirection},
    {"--seed", "", "N", ValueKind::Text, "", kEffectGroup,
     "the wash's random pattern; the same seed gives the same pattern (default 1)", kEffects | kScript,
     [](Options& o, const std::string& v) {
         o.seed = parseInteger<std::uint32_t>(v, 0, 0xFFFFFFFFU, "--seed");
     }},
    {"--opening", "", "ID[=TIME]", ValueKind::Effect, "", kEffectGroup,
     "make the picture arrive at the start with this effect: wash-in, tilt-in, tumble-in; wash-in=2s lasts "
     "two seconds",
     kJoin | kDocuments, [](Options& o, const std::string& v) { o.opening = parseEnd("--opening", v); }},
    {"--closing", "", "ID[=TIME]", ValueKind::Effect, "", kEffectGroup,
     "make the picture leave at the end with this effect: wash-out, tilt-out, tumble-out; tumble-out=2s "
     "lasts two seconds",
     kJoin | kDocuments, [](Options& o, const std::string& v) { o.closing = parseEnd("--closing", v); }},
    {"--proxy", "", "", ValueKind::None, "", kEffectGroup,
     "render a quick preview, as the effect does during playback in a host", kRenders,
     [](Options& o, const std::string&) { o.proxy = true; }},
    {"--frame", "-k", "K", ValueKind::Text, "", kEffectGroup,
     "which frame of the transition, counted from 0 (default the middle)", kFrame,
     [](Options& o, const std::string& v) { o.frame = parseInteger(v, 0, 1000000, "--frame"); }},
    {"--of", "-n", "N", ValueKind::Text, "", kEffectGroup, "frames of the whole transition (default 30)",
     kFrame, [](Options& o, const std::string& v) { o.of = parseInteger(v, 2, 1000000, "--of"); }},
    {"--size", "-s", "SIZE", ValueKind::Text, "", kPictureGroup,
     "size of the result, 16x16 to 4095 wide, or 720p, 1080p, 4k (default the first clip's; 1080p for "
     "photos)",
     kEffects | kDemo | kScript, [](Options& o, const std::string& v) { o.size = parseSize(v); }},
    {"--fps", "-r", "RATE", ValueKind::Text, "", kPictureGroup,
     "frames per second: 25, 29.97, 30000/1001 (default the first clip's; 30 for photos)", kEdits | kScript,
     [](Options& o, const std::string& v) { o.fps = parseRate(v); }},
    {"--fit", "", "HOW", ValueKind::Choice, "contain,blur,cover,stretch", kPictureGroup,
     "how pictures of another shape are fitted: with bars, over a blurred copy, cropped, or stretched "
     "(default contain; blur for photos in movies)",
     kEffects, storeFit},
    {"--still", "", "TIME", ValueKind::Text, "", kPictureGroup, "how long a still picture lasts (default 4s)",
     kEdits, [](Options& o, const std::string& v) { o.still = parseTime(v); }},
    {"--hold", "", "TIME", ValueKind::Text, "", kPictureGroup,
     "how long a still picture is shown between its transitions (default 3s for slideshow)", kEdits,
     [](Options& o, const std::string& v) {
         o.hold = parseTime(v);
         if (o.hold->count == 0) throw Refusal(Problem::BadRequest, "--hold 0: give a time above 0");
     }},
    {"--still-motion", "", "HOW", ValueKind::Choice, "none,zoom,pan", kPictureGroup,
     "move still pictures slowly: zoom in or out, or pan to one side; --seed picks which way (default none)",
     kEdits, storeStillMotion},
    {"--max-duration", "", "TIME", ValueKind::Text, "", kPictureGroup,
     "refuse a result longer than this, such as 48:00:00 (default 24:00:00)", kEdits,
     [](Options& o, const std::string& v) { o.longest = parseTime(v); }},
    {"--audio", "", "HOW", ValueKind::Choice, "natural,equal-power,plugin,none", kSoundGroup,
     "sound across a transition: the outgoing clip fades out, constant loudness, the effect's own levels, or "
     "no sound (default equal-power; natural for out and in)",
     kEdits, storeAudio},
    {"--channels", "", "HOW", ValueKind::Choice, "keep,stereo,mono", kSoundGroup,
     "channels of the sound: mono or 5.1 if all clips have that, else stereo; always stereo; or always mono "
     "(default keep)",
     kEdits, storeChannels},
    {"--music", "", "FILE", ValueKind::File, "", kSoundGroup,
     "music under the whole result, looped or cut to its length, faded in and out", kEdits,
     [](Options& o, const std::string& v) { o.music = v; }},
    {"--music-gain", "", "DB", ValueKind::Text, "", kSoundGroup,
     "volume of the music, such as -6dB (default 0dB)", kEdits,
     [](Options& o, const std::string& v) { o.musicGain = edit::parseDecibels(v); }},
    {"--duck", "", "DB", ValueKind::Text, "", kSoundGroup,
     "lower the music by this much under clips with sound; 0dB turns it off (default 12dB)", kEdits,
     storeDuck},
    {"--loudness", "", "LUFS", ValueKind::Text, "", kSoundGroup,
     "bring the sound of every clip to this loudness, such as -16LUFS, with one gain per clip", kEdits,
     [](Options& o, const std::string& v) { o.loudness = edit::parseLoudness(v); }},
    {"--no-limiter", "", "", ValueKind::None, "", kSoundGroup,
     "leave sound peaks as they are instead of limiting them to -1 dBTP", kEdits,
     [](Options& o, const std::string&) { o.limiter = false; }},
    {"--crf", "", "N", ValueKind::Text, "", kOutputGroup,
     "quality of the picture, lower is better: 0 to 51 (H.264, HEVC), 0 to 63 (VP9, AV1), 0 to 31 "
     "(Motion JPEG)",
     kEdits, [](Options& o, const std::string& v) { o.crf = parseInteger(v, 0, 63, "--crf"); }},
    {"--preset", "", "NAME", ValueKind::Choice,
     "ultrafast,superfast,veryfast,faster,fast,medium,slow,slower,veryslow", kOutputGroup,
     "encoder speed; faster presets make larger files", kEdits, storePreset},
    {"--chapters", "", "", ValueKind::None, "", kOutputGroup, "write a chapter at the start of each clip",
     kEdits, [](Options& o, const std::string&) { o.chapters = true; }},
    {"--title", "", "TEXT", ValueKind::Text, "", kOutputGroup, "the title written into the movie", kEdits,
     [](Options& o, const std::string& v) { o.title = v; }},
    {"--comment", "", "TEXT", ValueKind::Text, "", kOutputGroup, "the comment written into the movie", kEdits,
     [](Options& o, const std::string& v) { o.comment = v; }},
    {"--only", "", "FROM..TO", ValueKind::Text, "", kOutputGroup,
     "render only this stretch of the result: 00:10..00:14, 250f..300f, ..5s", kExecute, storeOnly},
    {"--copy-bodies", "", "", ValueKind::OptionalChoice, "auto,always,never", kOutputGroup,
     "copy what lies between seams as it is coded, without a loss, and encode the rest: where clips and "
     "options allow it (auto), always or refuse, or never (default auto)",
     kExecute | kPlan, storeCopyBodies},
    {"--plot", "", "FILE.png", ValueKind::File, "", kOutputGroup,
     "draw the timeline: clips with pictures and sound, seams, times", kPlan,
     [](Options& o, const std::string& v) { o.plot = v; }},
    {"--parts", "", "N", ValueKind::Text, "", kOutputGroup,
     "split the movie into this many parts of about equal work, for -o NAME.plan.json or --resume (default "
     "parts of about 30s of work)",
     kPlan | kExecute,
     [](Options& o, const std::string& v) { o.partWishes.parts = parseInteger(v, 1, 10000, "--parts"); }},
    {"--part-length", "", "TIME", ValueKind::Text, "", kOutputGroup,
     "split the movie into parts of about this length", kPlan | kExecute,
     [](Options& o, const std::string& v) { o.partWishes.length = parseTime(v); }},
    {"--split-seams", "", "", ValueKind::None, "", kOutputGroup,
     "allow the movie to be split inside a transition", kPlan,
     [](Options& o, const std::string&) { o.partWishes.splitSeams = true; }},
    {"--format", "", "NAME", ValueKind::Choice, "mp4,mov,mkv,webm,avi", kOutputGroup,
     "file type of the movie that the parts are for (default mp4)", kPlan, storeFormat},
    {"--part", "", "K", ValueKind::Text, "", kOutputGroup,
     "render only this part of a plan, 1 or more or sound, into the folder given by -o", kRender, storePart},
    {"--engine", "", "NAME", ValueKind::Choice, "local,parallel,slurm", kRunGroup,
     "what runs the jobs: this machine alone, GNU parallel, or a Slurm cluster (default local)", kStarts,
     [](Options& o, const std::string& v) { o.engine = farm::engineNamed(v).name; }},
    {"--jobs", "", "N", ValueKind::Text, "", kRunGroup,
     "how many jobs run at once (default one per core, or as many as the cluster allows)", kStarts,
     [](Options& o, const std::string& v) { o.jobs = parseInteger(v, 1, 100000, "--jobs"); }},
    {"--parts-folder", "", "FOLDER", ValueKind::File, "", kRunGroup,
     "where the parts are (default NAME.parts beside NAME.plan.json)", kSubmit | kStatus,
     [](Options& o, const std::string& v) { o.partsFolder = v; }},
    {"--dry-run", "", "", ValueKind::None, "", kRunGroup, "print the scripts instead of starting them",
     kStarts, [](Options& o, const std::string&) { o.dryRun = true; }},
    {"--resume", "", "", ValueKind::None, "", kRunGroup,
     "render in parts that are kept if the run is interrupted, and continue from those of an earlier run",
     kExecute, [](Options& o, const std::string&) { o.resume = true; }},
    {"--line", "", "K", ValueKind::Text, "", kRunGroup, "render only this line of the list", kBatch,
     [](Options& o, const std::string& v) { o.line = parseInteger(v, 1, 100000000, "--line"); }},
    {"--collect", "", "", ValueKind::None, "", kRunGroup, "print the reports of an earlier run again", kBatch,
     [](Options& o, const std::string&) { o.collect = true; }},
    {"--watch", "-w", "", ValueKind::None, "", kRunGroup, "keep watching until no part is running or missing",
     kStatus, [](Options& o, const std::string&) { o.watch = true; }},
    {"--media", "", "FOLDER", ValueKind::File, "", kRunGroup,
     "where to look for the clips of an .otio or .edl, including subfolders (default beside it); for studio, "
     "another folder to choose clips from",
     kDocuments | kStudio, [](Options& o, const std::string& v) { o.exchange.media = v; }},
    {"--track", "", "N", ValueKind::Text, "", kRunGroup,
     "which picture track of an .otio to use, counted from 1", kDocuments,
     [](Options& o, const std::string& v) { o.exchange.track = parseInteger(v, 1, 1000, "--track"); }},
    {"--unsafe-paths", "", "", ValueKind::None, "", kRunGroup,
     "allow an .ffconcat to name files outside its folder", kDocuments,
     [](Options& o, const std::string&) { o.exchange.unsafePaths = true; }},
    {"--codec", "", "NAME", ValueKind::Choice, "h264,hevc,vp9,av1,prores,ffv1,mjpeg", kOutputGroup,
     "picture codec of a movie (default depends on the file type)", kEdits, storeCodec},
    {"--depth", "", "BITS", ValueKind::Choice, "8,10", kOutputGroup,
     "bits per colour of a movie (default 8; 10 if HDR is kept)", kEdits, storeDepth},
    {"--hdr", "", "HOW", ValueKind::Choice, "auto,keep,sdr", kPictureGroup,
     "HDR clips: keep HDR if all clips are of one kind, always keep it, or convert to SDR (default auto)",
     kEdits, storeHdr},
    {"--tone-map", "", "HOW", ValueKind::Choice, "natural,white", kPictureGroup,
     "how HDR becomes SDR: compress the whole range as the eye adapts, or only the highlights above white "
     "(default natural)",
     kRenders | kPlan, storeToneMap},
    {"--alpha", "", "", ValueKind::None, "", kOutputGroup,
     "keep transparency instead of putting it on black: in pictures, .mov (ProRes 4444), .mkv (FFV1), .webm",
     kEdits | kFrame, [](Options& o, const std::string&) { wishesOf(o).alpha = true; }},
    {"--port", "", "N", ValueKind::Text, "", kRunGroup,
     "port of the page, on this machine only (default any free port)", kStudio,
     [](Options& o, const std::string& v) { o.port = parseInteger(v, 1, 65535, "--port"); }},
    {"--no-browser", "", "", ValueKind::None, "", kRunGroup, "print the address without opening a browser",
     kStudio, [](Options& o, const std::string&) { o.browser = false; }},
    {"--cache", "", "MB", ValueKind::Text, "", kRunGroup,
     "memory for decoded pictures, in megabytes (default 512)", kStudio,
     [](Options& o, const std::string& v) { o.cacheMegabytes = parseInteger(v, 16, 65536, "--cache"); }},
    {"--columns", "", "N", ValueKind::Text, "", kPictureGroup,
     "pictures per row of the sheet, 2 to 12 (default 6)", kSheet,
     [](Options& o, const std::string& v) { o.columns = parseInteger(v, 2, 12, "--columns"); }},
    {"--theme", "", "NAME", ValueKind::Choice, "dark,light", kPictureGroup,
     "colours of the sheet or timeline (default dark)", kSheet | kField | kPlan | kDemo, storeTheme},
    {"--json", "", "", ValueKind::None, "", kOutputGroup, "print the catalogue and all options as JSON",
     kList, [](Options& o, const std::string&) { o.json = true; }},
    {"--plugin", "", "FILE", ValueKind::File, "", kRunGroup,
     "load the transitions from this module instead of the built-in ones", kRenders | kPlan | kList | kDemo,
     [](Options& o, const std::string& v) { o.plugin = v; }},
    {"--threads", "-j", "N", ValueKind::Text, "", kRunGroup,
     "decode, render and encode with up to N threads each; 1: all in one thread (default by the number of "
     "cores)",
     kRenders | kDemo | kBatch,
     [](Options& o, const std::string& v) { o.threads = parseInteger(v, 1, 64, "--threads"); }},
    {"--dry-run", "", "", ValueKind::None, "", kRunGroup, "print what would be rendered as a table, and stop",
     kExecute, [](Options& o, const std::string&) { o.dryRun = true; }},
    {"--progress", "", "HOW", ValueKind::Choice, "auto,kv,json,none", kRunGroup,
     "one line on a terminal, key=value lines or JSON lines on standard output, or nothing (default auto)",
     kExecute | kSheet | kDemo, storeProgress},
    {"--quiet", "-q", "", ValueKind::None, "", kRunGroup, "print only errors, and damage of the inputs",
     kRenders | kPlan | kDemo | kScript | kMerge | kStarts,
     [](Options& o, const std::string&) { o.quiet = true; }},
    {"--verbose", "-v", "", ValueKind::None, "", kRunGroup, "print the plan and how long each step took",
     kRenders | kPlan | kDemo, [](Options& o, const std::string&) { o.verbose = true; }},
    {"--help", "-h", "", ValueKind::None, "", kRunGroup, "show this help", kEvery,
     [](Options& o, const std::string&) { o.help = true; }},
};

}  // namespace

std::span<const OptionRow> optionTable() {
    return kOptions;
}

std::vector<std::string> choicesOf(const OptionRow& row) {
    std::vector<std::string> words;
    const std::string list = row.choices;
    for (std::size_t start = 0; start < list.size();) {
        const std::size_t comma = std::min(list.find(',', start), list.size());
        words.push_back(list.substr(start, comma - start));
        start = comma + 1;
    }
    return words;
}

std::vector<const OptionRow*> optionsOf(Command id) {
    std::vector<const OptionRow*> rows;
    for (const OptionRow& row : kOptions)
        if (row.commands & commandBit(id)) rows.push_back(&row);
    return rows;
}

}  // namespace tumblewash::app
