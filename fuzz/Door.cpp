// The studio's door: any request is let in by the rules or refused, and any change of a document makes one
// that reads again, or is refused. A request is a line with method and target, lines of headers, and a body
// behind an empty line.
#include <algorithm>
#include <string>

#include "edit/Document.h"
#include "fuzz/Target.h"
#include "studio/Document.h"
#include "studio/Gate.h"

namespace {

using tumblewash::fuzz::demand;
using namespace tumblewash::studio;

constexpr const char* kToken = "TOKEN";

Request requestOf(const std::string& text) {
    Request request;
    std::size_t start = 0;
    for (bool first = true; start < text.size(); first = false) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.empty() && !first) break;
        const std::size_t blank = std::min(line.find(first ? ' ' : ':'), line.size());
        const std::string rest = blank < line.size() ? line.substr(blank + 1) : std::string();
        if (first) {
            request.method = line.substr(0, blank);
            request.target = rest;
        } else {
            request.headers.emplace_back(line.substr(0, blank), rest);
        }
    }
    if (start < text.size()) request.body = text.substr(start);
    return request;
}

void tryGate(const Request& request) {
    Target target;
    try {
        target = parseTarget(request.target);
    } catch (const Refused& refused) {
        demand(refused.status == 400 || refused.status == 414, "a target refused as something else");
    }
    for (const std::string& part : target.parts)
        demand(!part.empty() && part != "." && part != ".." && part.find('/') == std::string::npos &&
                   part.find('\0') == std::string::npos,
               "a path leads out: " + part);
    if (refusedAtTheGate(request, target, kToken)) return;
    const std::string host(request.header("Host"));
    demand(host.rfind("127.0.0.1", 0) == 0 || host.rfind("localhost", 0) == 0, "let in as " + host);
    demand(request.headersNamed("Host") == 1, "let in with two hosts");
    demand(!target.parts.empty() && target.parts.front() == kToken, "let in without the secret");
    demand(request.headersNamed("Origin") == 0 || request.header("Origin") == "http://" + host,
           "let in from another page");
    const bool reads = request.method == "GET" || request.method == "HEAD";
    demand(reads || (request.method == "POST" && request.headersNamed("Origin") == 1),
           "a change let in by " + request.method);
}

void tryPatch(const std::string& patch) {
    static const tumblewash::edit::Edit kEdit = tumblewash::edit::readEdit(
        R"({"tumblewash":1,"clips":[{"file":"a.mp4"},{"black":"1s","seam":{"seed":7}}]})", "x.edit.json");
    const Document document("/nowhere/x.edit.json", kEdit);
    try {
        const std::string written = tumblewash::edit::editJson(document.patched(patch));
        const tumblewash::edit::Edit again = tumblewash::edit::readEdit(written, "x.edit.json");
        demand(tumblewash::edit::editJson(again) == written, "a changed document does not read again");
    } catch (const Refused& refused) {
        demand(refused.status == 400 || refused.status == 422, "a change refused as something else");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Request request = requestOf(std::string(reinterpret_cast<const char*>(data), size));
    tryGate(request);
    tryPatch(request.body);
    return 0;
}
