#include "studio/FileResponse.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tumblewash::studio {
namespace {

/// `bytes=A-B`, `bytes=A-` or `bytes=-N` of a file of `size` bytes. 0: no single range that is understood,
/// 1: it is, -1: it lies outside.
int readRange(std::string_view text, std::uint64_t size, FileBody& body) {
    constexpr std::string_view kUnit = "bytes=";
    if (!text.starts_with(kUnit) || text.find(',') != std::string_view::npos) return 0;
    text.remove_prefix(kUnit.size());
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos) return 0;
    const auto number = [](std::string_view digits, std::uint64_t& value) {
        const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return problem == std::errc{} && end == digits.data() + digits.size();
    };
    if (size == 0) return -1;
    std::uint64_t first = 0;
    std::uint64_t last = size - 1;
    const std::string_view from = text.substr(0, dash);
    const std::string_view to = text.substr(dash + 1);
    if (from.empty()) {
        std::uint64_t count = 0;
        if (!number(to, count)) return 0;
        if (count == 0) return -1;
        first = size - std::min(size, count);
    } else {
        if (!number(from, first) || (!to.empty() && (!number(to, last) || last < first))) return 0;
        last = std::min(last, size - 1);
    }
    if (first >= size) return -1;
    body.first = first;
    body.count = last - first + 1;
    return 1;
}

}  // namespace

Response fileResponse(const Request& request, const std::string& file, const std::string& type) {
    std::error_code problem;
    const std::uint64_t size = std::filesystem::file_size(file, problem);
    if (problem) return refusal(404, "gone", "the file is not there any more");
    Response response;
    response.type = type;
    response.file = {file, 0, size};
    response.headers.emplace_back("Accept-Ranges", "bytes");
    const int range =
        request.headersNamed("Range") == 1 ? readRange(request.header("Range"), size, response.file) : 0;
    if (range > 0) {
        response.status = 206;
        response.headers.emplace_back("Content-Range",
                                      fmt::format("bytes {}-{}/{}", response.file.first,
                                                  response.file.first + response.file.count - 1, size));
    } else if (range < 0) {
        response = refusal(416, "range", "the file has no such bytes");
        response.headers.emplace_back("Content-Range", fmt::format("bytes */{}", size));
    }
    return response;
}

}  // namespace tumblewash::studio
