#include "tests/studio/Support.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace tumblewash::studio {

TestFolder::TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tumblewash-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for a test");
    path = std::filesystem::canonical(name);
}

TestFolder::~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void TestFolder::write(const std::string& name, const std::string& text) const {
    std::ofstream(path / name, std::ios::binary) << text;
}

std::string TestFolder::read(const std::string& name) const {
    std::ifstream in(path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Request fromPage(const std::string& method, const std::string& target, const std::string& body) {
    Request request{method, target, {{"Host", "127.0.0.1:4000"}, {"Sec-Fetch-Site", "same-origin"}}, body};
    if (method == "POST") {
        request.headers.emplace_back("Origin", "http://127.0.0.1:4000");
        request.headers.emplace_back("Content-Type", "application/json");
    }
    return request;
}

std::string documentOf(int clips) {
    nlohmann::ordered_json json{{"tumblewash", 1}, {"clips", nlohmann::json::array()}};
    for (int i = 0; i < clips; ++i)
        json["clips"].push_back(
            {{"file", std::string("pattern:") + (i % 2 ? "city" : "harbour") + "?size=64x48&seconds=1"}});
    return json.dump(2) + "\n";
}

namespace {

StudioSettings settingsIn(const TestFolder& folder, int clips, std::chrono::seconds invitation) {
    if (clips > 0) folder.write("my.edit.json", documentOf(clips));
    StudioSettings settings;
    settings.document = folder.file("my.edit.json");
    settings.edit.folder = folder.path.string();
    settings.folders = {folder.path.string()};
    settings.cacheBytes = std::size_t{16} << 20;
    settings.invitation = invitation;
    return settings;
}

}  // namespace

AskedStudio::AskedStudio(int clips, std::chrono::seconds invitation)
    : studio(settingsIn(folder, clips, invitation), [this] { ended = true; }) {
    // As a page does it: whoever has asked for the state may ask for pictures.
    (void)state();
}

Response AskedStudio::ask(const Request& request) {
    const auto promise = std::make_shared<std::promise<Response>>();
    studio.handle(request, [promise](Response response) { promise->set_value(std::move(response)); });
    return promise->get_future().get();
}

Response AskedStudio::get(const std::string& target) {
    return ask(fromPage("GET", "/" + studio.token() + "/" + target));
}

Response AskedStudio::post(const std::string& word, const nlohmann::json& body) {
    return ask(fromPage("POST", "/" + studio.token() + "/api/" + word, body.dump()));
}

nlohmann::json AskedStudio::finishedJob() {
    for (;;) {
        const nlohmann::json job = state()["job"];
        const std::string now = job["state"];
        if (now != "checking" && now != "running" && now != "finishing" && now != "cancelling") return job;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

Response AskedStudio::change(const nlohmann::json& patch, const std::string& label,
                             const std::string& gesture) {
    return post(
        "edit",
        {{"revision", state()["revision"]}, {"label", label}, {"gesture", gesture}, {"patch", patch}});
}

}  // namespace tumblewash::studio
