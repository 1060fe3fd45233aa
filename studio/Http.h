// A request and its answer as plain values, and the way answers and events go back: what the sockets hand to
// the studio, and what tests and the fuzzer hand to it without any. It knows no sockets.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tumblewash::studio {

/// A request as it came, nothing decoded.
struct Request {
    std::string method;
    std::string target;                                        ///< path and query
    std::vector<std::pair<std::string, std::string>> headers;  ///< in order; names as sent
    std::string body;

    /// The header of this name, case ignored; empty without one. Of several, the first.
    std::string_view header(std::string_view name) const;
    /// How many headers have this name.
    std::size_t headersNamed(std::string_view name) const;
};

/// A stretch of a file to be sent as a body: bytes [first, first + count).
struct FileBody {
    std::string path;
    std::uint64_t first = 0;
    std::uint64_t count = 0;
};

/// An answer. The headers that every answer has are added by the server.
struct Response {
    int status = 200;
    std::string type;  ///< Content-Type; empty without a body
    std::string body;
    FileBody file;  ///< instead of `body` where it has a path
    std::vector<std::pair<std::string, std::string>> headers;
    bool late = false;    ///< the answer waits a moment: a wrong guess
    bool events = false;  ///< no body: server-sent events follow for as long as the client listens
};

/// Gives the one answer to a request; may be called later, from any thread, once.
using Answer = std::function<void(Response)>;

/// A path and its query, decoded.
struct Target {
    std::vector<std::string> parts;  ///< of the path, without empty ones
    bool folder = false;             ///< the path ends with a slash
    std::map<std::string, std::string> query;

    /// A value of the query as a whole number within limits; `otherwise` where it is missing. Throws Refused
    /// (400) for other words.
    std::int64_t whole(const std::string& key, std::int64_t least, std::int64_t most,
                       std::int64_t otherwise) const;
};

/// An answer other than 200, thrown: its status, a code for programs and one English line for people.
struct Refused {
    int status = 400;
    std::string code;
    std::string message;
};

/// Reads a request's target. Throws Refused (400) for what is no path: escapes that are none, zero bytes,
/// parts of dots, slashes that were escaped, more than 4 KiB (414).
Target parseTarget(std::string_view target);

/// The answer to a refusal, as JSON: `{"error":{"code":...,"message":...}}`.
Response refusal(int status, std::string_view code, std::string_view message);

/// `text` as a JSON string, with what is no UTF-8 replaced.
std::string jsonString(std::string_view text);

}  // namespace tumblewash::studio
