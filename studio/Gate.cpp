#include "studio/Gate.h"

#include <sys/random.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace tumblewash::studio {
namespace {

/// `127.0.0.1` or `localhost`, with or without a port. Ports are forwarded, so any will do; the name is what
/// keeps pages away whose own name was made to lead here.
bool isThisMachine(std::string_view host) {
    const std::size_t colon = host.find(':');
    const std::string_view name = host.substr(0, colon);
    if (name != "127.0.0.1" && name != "localhost") return false;
    if (colon == std::string_view::npos) return true;
    const std::string_view port = host.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, problem] = std::from_chars(port.data(), port.data() + port.size(), number);
    return problem == std::errc{} && end == port.data() + port.size() && number > 0;
}

bool isReading(const Request& request) {
    return request.method == "GET" || request.method == "HEAD";
}

bool isFromAnotherPage(const Request& request) {
    const std::string_view site = request.header("Sec-Fetch-Site");
    if (site.empty() || site == "same-origin") return false;
    return !(site == "none" && isReading(request) && request.header("Sec-Fetch-Mode") == "navigate" &&
             request.header("Sec-Fetch-Dest") == "document");
}

std::optional<Response> refusedByOrigin(const Request& request) {
    const std::string_view host = request.header("Host");
    if (request.headersNamed("Host") != 1 || !isThisMachine(host))
        return refusal(421, "host", "this studio answers to 127.0.0.1 and localhost only");
    const std::size_t origins = request.headersNamed("Origin");
    if (origins > 1 || (origins == 1 && request.header("Origin") != "http://" + std::string(host)))
        return refusal(403, "origin", "requests of other pages are refused");
    if (request.headersNamed("Sec-Fetch-Site") > 1 || isFromAnotherPage(request))
        return refusal(403, "site", "requests of other pages are refused");
    return std::nullopt;
}

}  // namespace

std::string randomSecret() {
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::uint8_t bytes[32];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        throw std::system_error(errno, std::generic_category(), "the system gives no random bytes");
    std::string secret;
    std::uint32_t bits = 0;
    int held = 0;
    for (const std::uint8_t byte : bytes) {
        bits = bits << 8 | byte;
        for (held += 8; held >= 6; held -= 6) secret += kLetters[bits >> (held - 6) & 63];
    }
    return secret += kLetters[bits << (6 - held) & 63];
}

bool equalSecrets(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    return difference == 0;
}

std::optional<Response> refusedAtTheDoor(const Request& request) {
    if (std::optional<Response> refused = refusedByOrigin(request)) return refused;
    if (!isReading(request)) return refusal(405, "method", "this address is opened, nothing else");
    return std::nullopt;
}

std::optional<Response> refusedAtTheGate(const Request& request, const Target& target,
                                         std::string_view token) {
    if (std::optional<Response> refused = refusedByOrigin(request)) return refused;
    if (target.parts.empty() || !equalSecrets(target.parts.front(), token)) {
        Response unknown;
        unknown.status = 404;
        unknown.late = true;
        return unknown;
    }
    if (isReading(request)) return std::nullopt;
    if (request.method != "POST") return refusal(405, "method", "the studio knows GET, HEAD and POST");
    if (request.headersNamed("Origin") != 1)
        return refusal(403, "origin", "changes come from the studio's own page only");
    const std::string_view type = request.header("Content-Type");
    if (type != "application/json" && !type.starts_with("application/json;"))
        return refusal(415, "type", "send application/json");
    return std::nullopt;
}

const std::vector<std::pair<std::string, std::string>>& safeHeaders() {
    static const std::vector<std::pair<std::string, std::string>> kHeaders = {
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; media-src 'self' "
         "blob:; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
         "require-trusted-types-for 'script'; trusted-types 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"X-Frame-Options", "DENY"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Permissions-Policy", "camera=(), microphone=(), geolocation=()"}};
    return kHeaders;
}

}  // namespace tumblewash::studio
