#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "edit/Errors.h"
#include "media/Descriptor.h"
#include "studio/Gate.h"
#include "studio/HttpServer.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

using media::Descriptor;

/// A connection as anybody may make one.
class Client {
  public:
    explicit Client(std::uint16_t port, std::uint32_t address = INADDR_LOOPBACK)
        : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(address);
        if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) socket_ = {};
    }
    bool connected() const { return static_cast<bool>(socket_); }
    /// True when nothing has come from the other side.
    bool silent() const {
        char byte = 0;
        return recv(socket_.get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
    }
    /// Sends as much as the other side takes.
    void send(const std::string& text) const {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count = ::send(socket_.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) return;
            sent += static_cast<std::size_t>(count);
        }
    }
    /// Everything until the other side closes, or until `end` has come.
    std::string read(const std::string& end = "\n\n\n") const {
        std::string text;
        char piece[4096];
        while (text.find(end) == std::string::npos) {
            const ssize_t count = recv(socket_.get(), piece, sizeof piece, 0);
            if (count <= 0) break;
            text.append(piece, static_cast<std::size_t>(count));
        }
        return text;
    }

  private:
    Descriptor socket_;
};

/// A server whose answers tell what was asked; impatient, so that tests are quick.
struct Served {
    explicit Served(HttpLimits limits = {}) : server(0, limits) {
        server.start(
            [](const Request& request, const Answer& answer) {
                Response response;
                response.type = "text/plain";
                response.body = request.method + " " + request.target + " " + request.body;
                response.events = request.target == "/events";
                response.late = request.target == "/guess";
                answer(response);
            },
            events);
    }
    ~Served() { server.stop(); }

    std::string ask(const std::string& text) const {
        const Client client(server.port());
        client.send(text);
        return client.read();
    }

    Events events;
    HttpServer server;
};

constexpr const char* kClose = "Host: 127.0.0.1\r\nConnection: close\r\n\r\n";

TEST(HttpServerTest, AnAnswerCarriesTheHeadersOfSafety) {
    const Served served;
    const std::string answer = served.ask(std::string("GET /x HTTP/1.1\r\n") + kClose);
    EXPECT_EQ(answer.rfind("HTTP/1.1 200 OK\r\n", 0), 0U) << answer;
    EXPECT_NE(answer.find("Content-Security-Policy: default-src 'none'"), std::string::npos);
    EXPECT_NE(answer.find("Cache-Control: no-store\r\n"), std::string::npos);
    EXPECT_NE(answer.find("\r\n\r\nGET /x "), std::string::npos);
    const std::string head = served.ask(std::string("HEAD /x HTTP/1.1\r\n") + kClose);
    EXPECT_NE(head.find("Content-Length: 8\r\n"), std::string::npos) << head;
    EXPECT_EQ(head.substr(head.size() - 4), "\r\n\r\n");
}

TEST(HttpServerTest, RefusalsCarryTheHeadersOfSafetyToo) {
    const Served served;
    for (const std::string& asked :
         {std::string("nonsense\r\n\r\n"), "GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n",
          std::string("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 2000000\r\n\r\n")}) {
        const std::string answer = served.ask(asked);
        EXPECT_EQ(answer.rfind("HTTP/1.1 4", 0), 0U) << answer;
        for (const auto& [name, value] : safeHeaders())
            EXPECT_NE(answer.find("\r\n" + name + ": " + value + "\r\n"), std::string::npos) << name;
        EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
        EXPECT_EQ(answer.find("Set-Cookie"), std::string::npos);
    }
}

TEST(HttpServerTest, NobodyElsesMachineIsListenedTo) {
    const Served served;
    EXPECT_TRUE(Client(served.server.port()).connected());
    // Another address of this machine: one that listens to all would answer there.
    EXPECT_FALSE(Client(served.server.port(), INADDR_LOOPBACK + 1).connected());
}

TEST(HttpServerTest, AWrongGuessWaitsForItsAnswer) {
    HttpLimits limits;
    limits.late = std::chrono::hours(1);
    const Served served(limits);
    const Client guessing(served.server.port());
    guessing.send(std::string("GET /guess HTTP/1.1\r\n") + kClose);
    // Others are served meanwhile, more than once around.
    for (int i = 0; i < 3; ++i) EXPECT_NE(served.ask(std::string("GET / HTTP/1.1\r\n") + kClose), "");
    EXPECT_TRUE(guessing.silent());
}

TEST(HttpServerTest, TwoHundredConnectionsAtOnceAreHarmless) {
    const Served served;
    std::vector<std::unique_ptr<Client>> many;
    for (int i = 0; i < 200; ++i) {
        many.push_back(std::make_unique<Client>(served.server.port()));
        // Idle, half said, and never read.
        if (i % 3 == 1) many.back()->send("GET / HTTP/1.1\r\nHost:");
        if (i % 3 == 2) many.back()->send("GET /events HTTP/1.1\r\nHost: x\r\n\r\n");
    }
    EXPECT_NE(served.ask(std::string("GET /one HTTP/1.1\r\n") + kClose).find("GET /one"), std::string::npos);
}

TEST(HttpServerTest, ListenersBeyondTheMostAreRefused) {
    HttpLimits limits;
    limits.listeners = 1;
    const Served served(limits);
    const std::string asked = std::string("GET /events HTTP/1.1\r\n") + kClose;
    const Client first(served.server.port());
    first.send(asked);
    EXPECT_NE(first.read(": welcome\n\n"), "");
    const Client second(served.server.port());
    second.send(asked);
    EXPECT_EQ(second.read("\r\n\r\n").rfind("HTTP/1.1 503", 0), 0U);
}

TEST(HttpServerTest, OneConnectionCarriesManyRequests) {
    const Served served;
    const std::string one = "POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\nhi";
    const std::string answers = served.ask(one + one + std::string("GET /last HTTP/1.1\r\n") + kClose);
    EXPECT_NE(answers.find("POST /a hi"), std::string::npos);
    EXPECT_NE(answers.rfind("POST /a hi"), answers.find("POST /a hi"));
    EXPECT_NE(answers.find("GET /last"), std::string::npos);
}

TEST(HttpServerTest, WhatIsTooLargeIsCutOff) {
    const Served served;
    const std::string line = "GET / HTTP/1.1\r\nHost: x\r\nX: " + std::string(20000, 'a') + "\r\n\r\n";
    EXPECT_EQ(served.ask(line).rfind("HTTP/1.1 431", 0), 0U);
    EXPECT_EQ(
        served.ask("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 1048577\r\n\r\n").rfind("HTTP/1.1 413", 0),
        0U);
    std::string chunked = "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (int i = 0; i < 20; ++i) chunked += "10000\r\n" + std::string(65536, 'b') + "\r\n";
    const std::string answer = served.ask(chunked);
    EXPECT_TRUE(answer.empty() || answer.rfind("HTTP/1.1 413", 0) == 0U) << answer.substr(0, 80);
}

TEST(HttpServerTest, WhatIsNoHttpIsRefused) {
    const Served served;
    for (const char* text :
         {"\r\n\r\n\r\nnonsense\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "GET /\x01 HTTP/1.1\r\n\r\n",
          "GET / HTTP/1.1\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\nhello"})
        EXPECT_EQ(served.ask(text).rfind("HTTP/1.1 400", 0), 0U) << text;
}

TEST(HttpServerTest, SlowAndIdleConnectionsEnd) {
    HttpLimits limits;
    limits.request = std::chrono::milliseconds(300);
    limits.idle = std::chrono::milliseconds(300);
    const Served served(limits);
    const Client idle(served.server.port());
    const Client half(served.server.port());
    half.send("GET / HTTP/1.1\r\nHost:");
    // Both are read to their end, which comes from the other side.
    EXPECT_EQ(idle.read(), "");
    EXPECT_EQ(half.read(), "");
    EXPECT_NE(served.ask(std::string("GET / HTTP/1.1\r\n") + kClose), "");
}

TEST(HttpServerTest, ConnectionsBeyondTheMostAreClosedAndOthersServed) {
    HttpLimits limits;
    limits.connections = 4;
    const Served served(limits);
    std::vector<std::unique_ptr<Client>> held;
    for (int i = 0; i < 4; ++i) {
        held.push_back(std::make_unique<Client>(served.server.port()));
        held.back()->send("GET /held HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_NE(held.back()->read("/held "), "");
    }
    EXPECT_EQ(served.ask(std::string("GET / HTTP/1.1\r\n") + kClose), "");
    held.front()->send("GET /again HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_NE(held.front()->read("/again ").find("GET /again"), std::string::npos);
}

TEST(HttpServerTest, EventsReachEveryListenerInOrder) {
    Served served;
    const Client one(served.server.port());
    const Client two(served.server.port());
    for (const Client* client : {&one, &two}) {
        client->send("GET /events HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_NE(client->read(": welcome\n\n").find("text/"), std::string::npos);
    }
    served.events.tell("job", "{\"n\":1}");
    served.events.tell("job", "{\"n\":2}");
    for (const Client* client : {&one, &two}) {
        const std::string text = client->read("{\"n\":2}\n\n");
        EXPECT_LT(text.find("{\"n\":1}"), text.find("{\"n\":2}"));
        EXPECT_NE(text.find("event: job\n"), std::string::npos);
    }
}

TEST(HttpServerTest, APortThatIsTakenIsSaid) {
    const Served served;
    EXPECT_THROW(HttpServer(served.server.port()), edit::Refusal);
}

}  // namespace
}  // namespace tumblewash::studio
