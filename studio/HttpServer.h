// The sockets: HTTP/1.1 on 127.0.0.1, one network thread that never waits, everything bounded. What requests
// mean is known elsewhere; slow, half-open, endless and too many connections end here.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "studio/Events.h"
#include "studio/Http.h"

namespace tumblewash::studio {

/// The bounds of every connection. Defaults are the program's; tests have less patience.
struct HttpLimits {
    std::chrono::milliseconds request{10000};  ///< for a whole request, from its first byte
    std::chrono::milliseconds idle{30000};     ///< between two requests
    std::chrono::milliseconds writing{30000};  ///< for each piece that is sent
    std::chrono::milliseconds late{100};       ///< before a wrong guess is answered
    std::chrono::milliseconds ping{15000};     ///< between signs of life to those who listen
    std::size_t connections = 256;
    std::size_t listeners = 32;
};

/// A server.
class HttpServer {
  public:
    /// Answers a request; must not block.
    using Handler = std::function<void(const Request&, const Answer&)>;

    /// Takes a port of 127.0.0.1, any free one for 0. Throws Refusal (RenderFailed) for one that is taken.
    explicit HttpServer(std::uint16_t port, const HttpLimits& limits = {});
    /// `stop`s.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// The port that was taken.
    std::uint16_t port() const;
    /// Begins to answer, in a thread of its own. Both outlive `stop`.
    void start(Handler handler, Events& events);
    /// Ends every connection. Answers that come later go nowhere; this object must outlive them.
    void stop();

  private:
    struct Impl;
    class Session;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::studio
