// What farms hand about, from any bytes: plans, receipts and pieces are read or refused in one line; a plan
// that was written reads again as the same text; pieces that can be read are put together or refused.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "farm/PartFiles.h"
#include "farm/PartRender.h"
#include "farm/PlanJson.h"
#include "fuzz/Target.h"
#include "fuzz/UnsteadyFile.h"
#include "media/Fingerprint.h"
#include "media/Pieces.h"
#include "media/Writer.h"

namespace {

using tumblewash::edit::Json;
using tumblewash::edit::Refusal;
using tumblewash::farm::FarmPlan;
using tumblewash::fuzz::demand;
using tumblewash::fuzz::Trouble;
using tumblewash::fuzz::UnsteadyFile;
using tumblewash::media::MediaError;
using tumblewash::media::WriterSettings;

constexpr const char* kMagic = "twpiece1";

/// Runs `work`, which may refuse in one line.
void refusable(const std::function<void()>& work) {
    const auto one = [](const std::string& line) {
        demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    };
    try {
        work();
    } catch (const Refusal& refused) {
        one(refused.what());
    } catch (const MediaError& refused) {
        one(refused.what());
    } catch (const std::bad_alloc&) {
    }
}

void readAsPlan(const std::string& text) {
    refusable([&] {
        const FarmPlan plan = tumblewash::farm::readPlan(text, "x.plan.json");
        demand(tumblewash::farm::planText(plan) == text, "a plan changed when it was written again");
    });
}

/// The text with the fingerprint that belongs to it, as somebody could write it who knows how it is made.
std::string withItsHash(const std::string& text) {
    Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) return text;
    json.erase("hash");
    json["hash"] = tumblewash::media::sha256Of(json.dump(-1, ' ', false, Json::error_handler_t::replace));
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Numbers out of the bytes, 0 behind their end.
class Numbers {
  public:
    Numbers(const char* from, std::size_t size) : from_(from), left_(size) {}
    std::int64_t next() {
        std::int64_t value = 0;
        const std::size_t some = left_ < sizeof value ? left_ : sizeof value;
        std::memcpy(&value, from_, some);
        from_ += some;
        left_ -= some;
        return value;
    }

  private:
    const char* from_;
    std::size_t left_;
};

/// A plan of any edit with any numbers: what its text holds is the plan, or it is refused.
void writePlan(const std::string& document, Numbers numbers) {
    refusable([&] {
        FarmPlan plan;
        plan.edit = tumblewash::edit::readEdit(document, "x.edit.json");
        plan.program = "any";
        plan.kind = ".mkv";
        plan.size = {static_cast<int>(numbers.next()), static_cast<int>(numbers.next())};
        plan.rate = {static_cast<int>(numbers.next()), static_cast<int>(numbers.next())};
        plan.frames = numbers.next();
        plan.sound = numbers.next() % 2 != 0;
        for (std::size_t i = 0; i < plan.edit.clips.size() && i < 64; ++i) {
            const std::int64_t in = numbers.next();
            plan.clips.push_back({in, numbers.next(), in % 2 != 0, in % 3 != 0});
        }
        const std::size_t seams =
            plan.edit.clips.size() - 1 + (plan.edit.opening ? 1U : 0U) + (plan.edit.closing ? 1U : 0U);
        for (std::size_t i = 0; i < seams && i < 64; ++i) plan.seams.push_back(numbers.next());
        for (std::int64_t first = 0, length; plan.parts.size() < 8 && (length = numbers.next()) != 0;) {
            plan.parts.push_back({first, length});
            if (__builtin_add_overflow(first, length, &first)) break;
        }
        const std::string text = tumblewash::farm::planText(plan);
        const FarmPlan again = tumblewash::farm::readPlan(text, "x.plan.json");
        demand(tumblewash::farm::planText(again) == text, "a plan changed when it was written again");
        demand(tumblewash::farm::printsOf(again) == tumblewash::farm::printsOf(plan), "its prints changed");
        tumblewash::farm::framePlanOf(again);
    });
}

void readAsReceipt(const UnsteadyFile& file) {
    refusable([&] {
        const auto receipt = tumblewash::farm::readReceipt(file.path());
        const std::string text = tumblewash::farm::receiptText(receipt);
        const UnsteadyFile written({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                                   ".again.json", Trouble::none, 0);
        demand(tumblewash::farm::receiptText(tumblewash::farm::readReceipt(written.path())) == text,
               "a receipt changed when it was written again");
    });
}

std::string temporary(const std::string& ending) {
    return std::filesystem::temp_directory_path() / ("tumblewash-fuzz-" + std::to_string(getpid()) + ending);
}

WriterSettings movieSettings() {
    WriterSettings settings;
    settings.width = settings.height = 32;
    settings.rate = {25, 1};
    settings.force = true;
    settings.threads = 1;
    return settings;
}

/// A piece of three black pictures, as parts are rendered to.
std::string encodedPiece() {
    WriterSettings settings = movieSettings();
    settings.piece = tumblewash::media::Piece::pictures;
    settings.pieceFile = temporary(".piece");
    auto writer = tumblewash::media::Writer::open(temporary(".mkv"), settings);
    const std::vector<std::uint8_t> black(32 * 32 * 4);
    for (int i = 0; i < 3; ++i) writer.writePicture(black.data(), 32 * 4);
    writer.commit();
    std::ifstream in(settings.pieceFile, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    std::filesystem::remove(settings.pieceFile);
    demand(bytes.starts_with(kMagic), "a piece begins otherwise");
    return bytes;
}

/// Where a piece's packets begin: behind its magic, its kind, and the length and bytes of its header.
std::size_t packetsOf(const std::string& piece) {
    constexpr std::size_t kLength = 16, kHeader = 24;
    if (piece.size() < kHeader) return piece.size();
    return kHeader +
           std::min<std::size_t>(static_cast<unsigned char>(piece[kLength]), piece.size() - kHeader);
}

void readAsPiece(const std::string& bytes) {
    const UnsteadyFile file({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, ".piece",
                            Trouble::none, 0);
    refusable([&] {
        const auto facts = tumblewash::media::readPiece(file.path());
        // Sound goes beside pictures, and nobody renders a part without any.
        if (facts.kind != tumblewash::media::Piece::pictures || facts.pictures == 0) return;
        WriterSettings settings = movieSettings();
        settings.pictures = facts.pictures * 2;
        settings.sound = false;
        const std::string output = temporary(".mkv");
        tumblewash::media::mergePieces(output, settings,
                                       {{file.path(), 0, facts.pictures, facts.delay},
                                        {file.path(), facts.pictures, facts.pictures, facts.delay}},
                                       "");
        std::filesystem::remove(output);
    });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (text.starts_with(kMagic)) {
        static const std::string real = encodedPiece();
        readAsPiece(text);
        // Its packets behind the header of an encoder that this program has, and changed in one place.
        readAsPiece(real.substr(0, packetsOf(real)) + text.substr(packetsOf(text)));
        std::string changed = real;
        changed[text.size() * 7 % changed.size()] ^= text.back();
        readAsPiece(changed);
        return 0;
    }
    readAsPlan(text);
    readAsPlan(withItsHash(text));
    readAsReceipt(UnsteadyFile({data, size}, ".json", Trouble::none, 0));
    const std::size_t end = text.find('\0');
    if (end != std::string::npos)
        writePlan(text.substr(0, end), Numbers(text.data() + end + 1, size - end - 1));
    return 0;
}
