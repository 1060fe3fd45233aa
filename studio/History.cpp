#include "studio/History.h"

#include <exception>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "edit/Outputs.h"
#include "studio/OwnFolders.h"

namespace tumblewash::studio {
namespace {

using Json = nlohmann::json;

std::string fileOf(const std::string& folder, const std::string& document) {
    const std::string name = folder.empty() ? std::string() : nameFor(document);
    return name.empty() ? name : folder + "/" + name + ".history.json";
}

Json rowsOf(const std::vector<KeptStep>& steps, std::size_t& room) {
    std::vector<Json> rows;
    for (auto step = steps.rbegin(); step != steps.rend() && step->text.size() < room; ++step) {
        room -= step->text.size();
        rows.push_back({step->label, step->text});
    }
    return Json(std::vector<Json>(rows.rbegin(), rows.rend()));
}

std::vector<KeptStep> stepsOf(const Json& rows) {
    std::vector<KeptStep> steps;
    for (const Json& row : rows) steps.push_back({row.at(0), row.at(1)});
    return steps;
}

}  // namespace

KeptSteps readHistory(const std::string& folder, const std::string& document, const std::string& text) {
    const std::string file = fileOf(folder, document);
    std::ifstream in(file, std::ios::binary);
    if (file.empty() || !in) return {};
    try {
        const Json kept = Json::parse(std::string(std::istreambuf_iterator<char>(in), {}));
        if (kept.at("history") != 1 || kept.at("text") != text) return {};
        return {stepsOf(kept.at("past")), stepsOf(kept.at("future"))};
    } catch (const Json::exception&) {
        return {};
    }
}

void writeHistory(const std::string& folder, const std::string& document, const std::string& text,
                  const KeptSteps& steps) {
    const std::string file = fileOf(folder, document);
    if (file.empty()) return;
    try {
        std::size_t room = kMostHistoryBytes;
        Json kept{{"history", 1}, {"text", text}};
        kept["past"] = rowsOf(steps.past, room);
        kept["future"] = rowsOf(steps.future, room);
        edit::TextFile(file, kept.dump() + "\n", true).commit();
    } catch (const std::exception&) {
        // The document itself is saved; its steps are a comfort.
    }
}

}  // namespace tumblewash::studio
