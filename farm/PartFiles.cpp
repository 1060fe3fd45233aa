#include "farm/PartFiles.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "media/Quoting.h"

namespace tumblewash::farm {

using edit::Json;
using edit::Problem;
using edit::Refusal;
using media::quotedName;

namespace {

constexpr int kReceiptVersion = 1;
constexpr const char* kReceiptKey = "tumblewash-part";

// How often a part says that it is alive, and how long its silence means nothing, in seconds.
constexpr std::int64_t kBeat = 2;
constexpr std::int64_t kPatience = 60;

std::string nameOf(const std::string& folder, int number) {
    const std::string name = number == kSoundPart ? "sound" : fmt::format("part-{:04}", number);
    return (std::filesystem::path(folder) / name).string();
}

std::string hostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return "?";
    return name;
}

/// The last line of a small text that says something.
std::string lastLineOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::string last;
    for (std::string line; std::getline(in, line);)
        if (line.find_first_not_of(" \t\r") != std::string::npos) last = line;
    constexpr std::size_t kMost = 300;
    return media::printable(last.size() > kMost ? last.substr(0, kMost) : last);
}

void removeQuietly(const std::string& file) noexcept {
    ::unlink(file.c_str());
}

struct Alive {
    std::int64_t done = 0;
    std::string host;
    int process = 0;
    bool silent = false;
};

/// What a part that is being rendered said last; nothing when none is.
std::optional<Alive> aliveOf(const std::string& file) {
    struct stat facts {};
    if (::stat(file.c_str(), &facts) != 0) return std::nullopt;
    Alive alive;
    std::ifstream in(file);
    const Json json = Json::parse(std::string(std::istreambuf_iterator<char>(in), {}), nullptr, false);
    try {
        alive.done = json.at("frames").get<std::int64_t>();
        alive.host = json.at("host").get<std::string>();
        alive.process = json.at("process").get<int>();
    } catch (const Json::exception&) {
        // Half written at this moment: it is alive all the same.
    }
    alive.silent = std::time(nullptr) - facts.st_mtime > kPatience;
    // Where it ran on this machine its process can be asked for.
    if (alive.process > 0 && alive.host == hostName() && ::kill(alive.process, 0) != 0 && errno == ESRCH)
        alive.silent = true;
    return alive;
}

}  // namespace

PartFiles::PartFiles(const std::string& folder, int number) {
    const std::string name = nameOf(folder, number);
    piece = name + ".piece";
    receipt = name + ".json";
    running = name + ".running";
    failed = name + ".failed";
    log = name + ".log";
}

std::string usualPartsFolder(const std::string& planFile) {
    return (std::filesystem::path(planFile).parent_path() / (planStem(planFile) + ".parts")).string();
}

std::string receiptText(const Receipt& r) {
    const Json json{{kReceiptKey, kReceiptVersion},
                    {"program", r.program},
                    {"plan", r.plan.whole},
                    {"edit", r.plan.edit},
                    {"inputs", r.plan.inputs},
                    {"settings", r.plan.settings},
                    {"part", r.part},
                    {"first", r.bounds.first},
                    {"frames", r.bounds.frames},
                    {"packets", r.piece.packets},
                    {"delay", r.piece.delay},
                    {"bytes", r.piece.bytes},
                    {"sha256", r.piece.sha256},
                    {"conversions", r.words.conversions},
                    {"warnings", r.words.warnings},
                    {"remarks", r.words.remarks}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Receipt readReceipt(const std::string& file) {
    const Json json = edit::parseJson(edit::readDocument(file), file);
    try {
        if (json.at(kReceiptKey).get<int>() != kReceiptVersion)
            throw Refusal(Problem::BadRequest, quotedName(file) + ": made by a newer tumblewash");
        Receipt r;
        r.program = json.at("program").get<std::string>();
        r.plan = {json.at("edit").get<std::string>(), json.at("inputs").get<std::string>(),
                  json.at("settings").get<std::string>(), json.at("plan").get<std::string>()};
        r.part = json.at("part").get<int>();
        r.bounds = {json.at("first").get<std::int64_t>(), json.at("frames").get<std::int64_t>()};
        r.piece.packets = json.at("packets").get<std::int64_t>();
        r.piece.delay = json.at("delay").get<std::int64_t>();
        r.piece.bytes = json.at("bytes").get<std::uint64_t>();
        r.piece.sha256 = json.at("sha256").get<std::string>();
        r.words.conversions = json.at("conversions").get<std::vector<std::string>>();
        r.words.warnings = json.at("warnings").get<std::vector<std::string>>();
        r.words.remarks = json.at("remarks").get<std::vector<std::string>>();
        return r;
    } catch (const Json::exception&) {
        throw Refusal(Problem::BadRequest, quotedName(file) + ": is not the receipt of a part");
    }
}

std::string troubleOf(const FarmPlan& plan, const PlanPrints& prints, const std::string& folder, int number,
                      bool whole) {
    const PartFiles files(folder, number);
    std::error_code ignored;
    if (!std::filesystem::exists(files.receipt, ignored))
        return fmt::format("{}: {} is missing", quotedName(files.receipt), partWords(number));
    const auto other = [&](const std::string& words) { return quotedName(files.receipt) + ": " + words; };
    try {
        const Receipt r = readReceipt(files.receipt);
        if (r.program != plan.program)
            return other(fmt::format("made by {}, and the plan by {}", r.program, plan.program));
        if (r.plan.edit != prints.edit) return other("a part of another edit");
        if (r.plan.inputs != prints.inputs) return other("made from other inputs, or before they changed");
        if (!(r.plan == prints)) return other("a part of another plan");
        const PartBounds bounds = boundsOf(plan, number);
        if (r.part != number || !(r.bounds == bounds)) return other("the receipt of " + partWords(r.part));
        const auto size = std::filesystem::file_size(files.piece, ignored);
        if (ignored) return quotedName(files.piece) + ": is missing beside its receipt";
        if (size != r.piece.bytes)
            return quotedName(files.piece) + ": its size differs from that in its receipt";
        if (!whole) return {};
        const media::PieceFacts found = media::readPiece(files.piece);
        const media::Piece kind = number == kSoundPart ? media::Piece::sound : media::Piece::pictures;
        if (found.sha256 != r.piece.sha256 || found.kind != kind || found.packets != r.piece.packets ||
            found.delay != r.piece.delay || (number != kSoundPart && found.pictures != bounds.frames))
            return quotedName(files.piece) + ": does not match its receipt; render it again";
        return {};
    } catch (const Refusal& problem) {
        return problem.what();
    } catch (const media::MediaError& problem) {
        return problem.what();
    }
}

std::vector<int> partNumbers(const FarmPlan& plan) {
    std::vector<int> numbers;
    if (plan.sound) numbers.push_back(kSoundPart);
    for (std::size_t k = 1; k <= plan.parts.size(); ++k) numbers.push_back(static_cast<int>(k));
    return numbers;
}

std::vector<int> missingParts(const FarmPlan& plan, const std::string& folder) {
    const PlanPrints prints = printsOf(plan);
    std::vector<int> missing;
    for (const int number : partNumbers(plan))
        if (!troubleOf(plan, prints, folder, number, false).empty()) missing.push_back(number);
    return missing;
}

std::vector<PartStatus> statusOf(const FarmPlan& plan, const std::string& folder) {
    const PlanPrints prints = printsOf(plan);
    std::vector<PartStatus> all;
    for (const int number : partNumbers(plan)) {
        const PartFiles files(folder, number);
        PartStatus part;
        part.number = number;
        part.frames = boundsOf(plan, number).frames;
        std::error_code ignored;
        const std::string trouble = troubleOf(plan, prints, folder, number, false);
        if (trouble.empty()) {
            part.state = PartState::Done;
            part.done = part.frames;
        } else if (const std::optional<Alive> alive = aliveOf(files.running); alive && !alive->silent) {
            part.state = PartState::Running;
            part.done = std::clamp<std::int64_t>(alive->done, 0, part.frames);
            part.words = fmt::format("on {}", media::printable(alive->host));
        } else if (alive) {
            part.state = PartState::Failed;
            part.words = fmt::format("stopped on {} without a message", media::printable(alive->host));
            if (const std::string line = lastLineOf(files.log); !line.empty()) part.words += ": " + line;
        } else if (std::string words = lastLineOf(files.failed); !words.empty()) {
            part.state = PartState::Failed;
            part.words = std::move(words);
        } else if (std::filesystem::exists(files.receipt, ignored)) {
            part.state = PartState::Failed;
            part.words = trouble;
        } else if (std::string line = lastLineOf(files.log); !line.empty()) {
            part.state = PartState::Failed;
            part.words = std::move(line);
        }
        all.push_back(std::move(part));
    }
    return all;
}

RunningMark::RunningMark(const PartFiles& files, std::int64_t frames) : files_(files), frames_(frames) {
    removeQuietly(files_.failed);
    write(0);
}

RunningMark::~RunningMark() {
    removeQuietly(files_.running);
}

void RunningMark::write(std::int64_t done) {
    last_ = std::time(nullptr);
    const Json json{{"host", hostName()}, {"process", ::getpid()}, {"frames", done}, {"of", frames_}};
    // Only a sign of life: what is not written is not missed.
    std::ofstream(files_.running, std::ios::trunc)
        << json.dump(-1, ' ', false, Json::error_handler_t::replace) << "\n";
}

void RunningMark::advance(std::int64_t done) {
    if (std::time(nullptr) - last_ >= kBeat) write(done);
}

void RunningMark::fail(const std::string& words) noexcept {
    try {
        std::ofstream(files_.failed, std::ios::trunc) << words << "\n";
    } catch (...) {
        // The run's own words say it too.
    }
}

}  // namespace tumblewash::farm
