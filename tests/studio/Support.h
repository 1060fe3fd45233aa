// A studio over drawn scenes in a folder of its own, asked as a page asks. Helpers only; they check nothing.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "studio/Studio.h"

namespace tumblewash::studio {

/// A folder that is removed at its end.
class TestFolder {
  public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string file(const std::string& name) const { return (path / name).string(); }
    void write(const std::string& name, const std::string& text) const;
    std::string read(const std::string& name) const;

    std::filesystem::path path;
};

/// A request as the studio's own page sends it.
Request fromPage(const std::string& method, const std::string& target, const std::string& body = {});

/// A document of clips, each a drawn scene of 64x48 and one second at 25 frames a second.
std::string documentOf(int clips);

/// A studio with `clips` clips and the way to ask it.
class AskedStudio {
  public:
    explicit AskedStudio(int clips = 2, std::chrono::seconds invitation = std::chrono::seconds(60));

    /// What the studio answers, waited for. `target` begins behind the token.
    Response get(const std::string& target);
    Response post(const std::string& word, const nlohmann::json& body);
    nlohmann::json state() { return nlohmann::json::parse(get("api/state").body); }
    /// The job once it is over.
    nlohmann::json finishedJob();
    /// The state after a change by a JSON Patch.
    Response change(const nlohmann::json& patch, const std::string& label = "change",
                    const std::string& gesture = {});

    Response ask(const Request& request);

    bool ended = false;  ///< the page has asked for the end
    TestFolder folder;
    Studio studio;
};

}  // namespace tumblewash::studio
