#include "app/Batch.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/Farm.h"
#include "app/Help.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/Nearest.h"
#include "edit/Outputs.h"
#include "edit/Render.h"
#include "farm/Engine.h"
#include "host/HostError.h"
#include "media/Fingerprint.h"
#include "media/MediaError.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::Edit;
using edit::Json;
using edit::Problem;
using edit::Refusal;
using media::quotedName;

namespace fs = std::filesystem;

namespace {

/// The lines of the list that say something, with their numbers from 1.
struct Line {
    int number = 0;
    std::string text;
};

std::vector<Line> linesOf(const std::string& list) {
    std::istringstream in(edit::readDocument(list));
    std::vector<Line> lines;
    int number = 0;
    for (std::string text; std::getline(in, text);) {
        ++number;
        if (text.find_first_not_of(" \t\r") != std::string::npos) lines.push_back({number, std::move(text)});
    }
    if (lines.empty()) throw Refusal(Problem::BadRequest, quotedName(list) + ": has no line with an edit");
    return lines;
}

/// One line understood.
struct Order {
    Edit edit;
    std::string output;
};

/// The text under a key of a report; empty where there is none.
std::string textAt(const Json& json, const char* key) {
    return json.contains(key) && json[key].is_string() ? json[key].get<std::string>() : std::string();
}

std::string besideList(const std::string& list, const std::string& name) {
    constexpr std::string_view kPrints = "md5:";
    if (name.starts_with(kPrints) && name.size() > kPrints.size())
        return std::string(kPrints) + besideList(list, name.substr(kPrints.size()));
    if (name == kPrints || name == "null:" || fs::path(name).is_absolute()) return name;
    return (fs::path(list).parent_path() / name).string();
}

std::string placeOf(const std::string& list, const Line& line) {
    return fmt::format("{}:{}", quotedName(list), line.number);
}

Order orderOf(const std::string& list, const Line& line) {
    const std::string where = placeOf(list, line);
    const auto refuse = [&](const std::string& words) -> void {
        throw Refusal(Problem::BadRequest, fmt::format("{}: {}", where, words));
    };
    const Json json = edit::parseJson(line.text, where);
    if (!json.is_object()) refuse("write {\"edit\": ..., \"output\": \"FILE\"}");
    for (const auto& [key, value] : json.items())
        if (key != "edit" && key != "output")
            refuse(fmt::format("{}: no such key{}", media::printable(key),
                               edit::didYouMean(key, {"edit", "output"})));
    if (!json.contains("output") || !json["output"].is_string() || json["output"].get<std::string>().empty())
        refuse("output is missing: \"output\": \"FILE\"");
    if (!json.contains("edit") || !(json["edit"].is_string() || json["edit"].is_object()))
        refuse("edit is missing: the name of a document, or the document itself");
    Order order;
    order.output = besideList(list, json["output"].get<std::string>());
    if (json["edit"].is_string()) {
        const std::string file = besideList(list, json["edit"].get<std::string>());
        order.edit = edit::readEdit(edit::readDocument(file), file);
    } else {
        order.edit = edit::readEdit(json["edit"].dump(), list);
    }
    return order;
}

std::string workFolder(const std::string& list) {
    std::string whole = fs::absolute(list).lexically_normal().string();
    return whole + ".work";
}

std::string reportFile(const std::string& list, int number) {
    return (fs::path(workFolder(list)) / fmt::format("line-{}.json", number)).string();
}

/// By which a report and its line know each other: the line, and the document that it names.
std::string stampOf(const std::string& list, const Line& line) {
    const Json json = Json::parse(line.text, nullptr, false);
    std::string text = line.text;
    if (json.is_object() && json.contains("edit") && json["edit"].is_string()) {
        std::ifstream in(besideList(list, json["edit"].get<std::string>()), std::ios::binary);
        text.append("\n").append(std::istreambuf_iterator<char>(in), {});
    }
    return media::sha256Of(text);
}

/// The report of a line that an earlier run left; null when there is none.
Json reportOf(const std::string& list, const Line& line) {
    std::ifstream in(reportFile(list, line.number), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    Json json = Json::parse(text, nullptr, false);
    if (!json.is_object() || textAt(json, "hash") != stampOf(list, line)) return nullptr;
    return json;
}

bool isDone(const std::string& list, const Line& line) {
    const Json report = reportOf(list, line);
    if (!report.is_object() || textAt(report, "status") != "done") return false;
    std::error_code ignored;
    const std::string output = edit::outputFile(textAt(report, "file"));
    return output.empty() || fs::exists(output, ignored);
}

/// Renders one line and prints its report.
void runLine(const Options& o, const std::string& list) {
    const auto start = std::chrono::steady_clock::now();
    for (const Line& line : linesOf(list)) {
        if (line.number != *o.line) continue;
        Json report{{"line", line.number}, {"hash", stampOf(list, line)}};
        const auto finish = [&](const char* status) {
            report["status"] = status;
            report["seconds"] =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            const std::string text = report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
            std::error_code ignored;
            fs::create_directories(workFolder(list), ignored);
            edit::TextFile(reportFile(list, line.number), text, true).commit();
        };
        const auto fail = [&](const char* words) {
            report["error"] = words;
            finish("failed");
        };
        try {
            const Order order = orderOf(list, line);
            report["file"] = order.output;
            edit::RenderSettings settings;
            settings.output = order.output;
            settings.force = o.force;
            settings.threads = o.threads;
            settings.reads = {list};
            settings.cancel = &interruptFlag();
            edit::MovieRequest request = edit::prepareMovie(order.edit, settings);
            edit::Report made = edit::beginReport(order.edit, settings, request);
            edit::renderMovie(settings, request, made, {});
            report["frames"] = made.frames;
            report["warnings"] = edit::lossesOf(made);
            return finish("done");
        } catch (const Refusal& problem) {
            fail(problem.what());
            throw;
        } catch (const media::MediaError& problem) {
            fail(problem.what());
            throw;
        } catch (const host::HostError& problem) {
            fail(problem.what());
            throw;
        }
    }
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}:{}: there is no edit on this line", quotedName(list), *o.line));
}

/// Prints the reports of all lines in order, and refuses when one failed.
void collect(const std::string& list) {
    constexpr std::size_t kNamed = 20;
    std::string text;
    std::vector<std::string> failures;
    const std::vector<Line> lines = linesOf(list);
    for (const Line& line : lines) {
        Json report = reportOf(list, line);
        if (!report.is_object())
            report = {{"line", line.number}, {"status", "failed"}, {"error", "it ended without a report"}};
        if (textAt(report, "status") != "done") {
            const std::string where = placeOf(list, line) + ":";
            const std::string words = media::printable(textAt(report, "error"));
            failures.push_back(words.starts_with(where) ? words : where + " " + words);
        }
        report.erase("hash");
        text += report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    }
    printText(text);
    for (std::size_t i = 0; i < failures.size() && i < kNamed; ++i) say("{}", failures[i]);
    if (failures.size() > kNamed) say("and {} more", failures.size() - kNamed);
    if (!failures.empty())
        throw Refusal(Problem::RenderFailed,
                      fmt::format("{} of {} edits failed", failures.size(), lines.size()));
}

/// Two edits may not write the same file: one of the two movies would be lost. Lines that cannot be read are
/// told about when it is their turn.
void refuseSameOutputs(const std::string& list, const std::vector<Line>& lines) {
    std::map<std::string, int> taken;
    for (const Line& line : lines) {
        const Json json = Json::parse(line.text, nullptr, false);
        const std::string output = json.is_object() ? textAt(json, "output") : std::string();
        const std::string file = edit::outputFile(besideList(list, output));
        if (output.empty() || file.empty()) continue;
        const auto [at, fresh] =
            taken.try_emplace(fs::absolute(file).lexically_normal().string(), line.number);
        if (!fresh)
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}:{}: {} is the output of line {} too; give each edit its own",
                                      quotedName(list), line.number, quotedName(output), at->second));
    }
}

farm::Job jobOf(const Options& o, const std::string& list, const std::vector<Line>& lines) {
    const std::string file = fs::absolute(list).lexically_normal().string();
    farm::Job job;
    job.title = media::printable(fs::path(list).filename().string());
    job.folder = workFolder(list);
    std::vector<std::string> words{ownProgram(), "batch", file};
    if (o.force) words.emplace_back("--force");
    if (o.threads > 0) words.insert(words.end(), {"--threads", std::to_string(o.threads)});
    job.item = fmt::format("exec {} --line \"$1\" >\"$TUMBLEWASH_FOLDER/line-$1.log\" 2>&1\n",
                           farm::shellWords(words));
    job.finish = {ownProgram(), "batch", file, "--collect"};
    job.finishAlways = true;
    job.jobs = o.jobs;
    for (const Line& line : lines)
        if (o.force || !isDone(list, line)) job.items.push_back(line.number);
    return job;
}

}  // namespace

void runBatch(const Options& o) {
    const std::string& list = o.inputs.front();
    if (o.line) return runLine(o, list);
    if (o.collect) return collect(list);
    const farm::Engine& engine = farm::engineNamed(o.engine);
    const std::vector<Line> lines = linesOf(list);
    refuseSameOutputs(list, lines);
    const farm::Job job = jobOf(o, list, lines);
    if (o.dryRun) return printText(farm::scriptsText(engine, job));
    if (!o.quiet) say("{}: {} to render, {}", quotedName(list), job.items.size(), engine.summary);
    const int status = farm::startJob(engine, job, &interruptFlag());
    if (interruptFlag().load()) throw Refusal(Problem::Interrupted, "interrupted");
    if (status != 0)
        throw Refusal(Problem::RenderFailed,
                      fmt::format("{}: not all edits were rendered; run the same command again for the rest",
                                  quotedName(list)));
}

}  // namespace tumblewash::app
