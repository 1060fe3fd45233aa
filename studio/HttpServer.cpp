#include "studio/HttpServer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

// Asio 1.74 uses std::exchange without including this.
#include <utility>
//
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <deque>
#include <optional>
#include <set>
#include <thread>

#include "edit/Errors.h"
#include "media/Descriptor.h"
#include "studio/Gate.h"

namespace tumblewash::studio {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using net::ip::tcp;

namespace {

constexpr std::uint32_t kLargestHead = 16384;
constexpr std::uint64_t kLargestBody = std::uint64_t{1} << 20;
constexpr std::size_t kPiece = std::size_t{256} << 10;
/// What a page that does not read may leave unsent.
constexpr std::size_t kMostUnsent = std::size_t{256} << 10;

std::string headOf(const Response& response, bool keepAlive) {
    std::string head = fmt::format(
        "HTTP/1.1 {} {}\r\n", response.status,
        std::string(http::obsolete_reason(http::int_to_status(static_cast<unsigned>(response.status)))));
    const auto add = [&](std::string_view name, std::string_view value) {
        head += fmt::format("{}: {}\r\n", name, value);
    };
    for (const auto& [name, value] : safeHeaders()) add(name, value);
    bool cached = false;
    for (const auto& [name, value] : response.headers) {
        add(name, value);
        cached = cached || name == "Cache-Control";
    }
    // People's pictures do not belong into a browser's files.
    if (!cached) add("Cache-Control", "no-store");
    if (!response.type.empty()) add("Content-Type", response.type);
    const std::size_t length =
        response.file.path.empty() ? response.body.size() : static_cast<std::size_t>(response.file.count);
    if (!response.events && response.status != 204 && response.status != 304)
        add("Content-Length", std::to_string(length));
    add("Connection", keepAlive ? "keep-alive" : "close");
    return head + "\r\n";
}

}  // namespace

struct HttpServer::Impl {
    explicit Impl(const HttpLimits& bounds) : limits(bounds), acceptor(io), pause(io) {}

    HttpLimits limits;
    std::size_t connections = 0;  ///< outlives `io`, whose end ends the last of them
    net::io_context io{1};
    tcp::acceptor acceptor;
    net::steady_timer pause;
    Handler handler;
    Events* events = nullptr;
    std::set<std::uint64_t> listening;
    std::thread thread;

    void accept();
    void forget(std::uint64_t listener) {
        if (listening.erase(listener) > 0 && events != nullptr) events->remove(listener);
    }
};

/// One connection. All of it happens on the network thread.
class HttpServer::Session : public std::enable_shared_from_this<Session> {
  public:
    Session(Impl& server, tcp::socket socket)
        : server_(server),
          stream_(std::move(socket)),
          timer_(server.io),
          buffer_(kLargestHead + kLargestBody) {
        ++server_.connections;
    }
    ~Session() { --server_.connections; }

    void wait() {
        if (buffer_.size() > 0) return read();
        stream_.expires_after(server_.limits.idle);
        stream_.async_read_some(buffer_.prepare(4096),
                                [self = shared_from_this()](beast::error_code problem, std::size_t count) {
                                    if (problem) return self->close();
                                    self->buffer_.commit(count);
                                    self->read();
                                });
    }

  private:
    void read() {
        parser_.emplace();
        parser_->header_limit(kLargestHead);
        parser_->body_limit(kLargestBody);
        // One deadline for the whole request: a byte now and then does not move it.
        stream_.expires_after(server_.limits.request);
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](beast::error_code problem, std::size_t) {
                             self->onRequest(problem);
                         });
    }

    void onRequest(beast::error_code problem) {
        if (!problem) return hand();
        keepAlive_ = false;
        head_ = false;
        if (problem == http::error::header_limit) return send(refusal(431, "head", "the head is too large"));
        if (problem == http::error::body_limit)
            return send(refusal(413, "too-large", "the request is too large"));
        const bool syntax = problem.category() == http::make_error_code(http::error::bad_target).category();
        if (syntax && problem != http::error::end_of_stream && problem != http::error::partial_message)
            return send(refusal(400, "bad-request", "this is not HTTP"));
        close();
    }

    void hand() {
        auto message = parser_->release();
        Request request;
        const auto text = [](beast::string_view view) { return std::string(view.data(), view.size()); };
        request.method = text(message.method_string());
        request.target = text(message.target());
        for (const auto& field : message)
            request.headers.emplace_back(text(field.name_string()), text(field.value()));
        request.body = std::move(message.body());
        keepAlive_ = message.keep_alive();
        head_ = request.method == "HEAD";
        stream_.expires_never();
        server_.handler(request, [self = shared_from_this()](Response response) {
            net::post(self->server_.io, [self, response = std::move(response)]() mutable {
                self->answer(std::move(response));
            });
        });
    }

    void answer(Response response) {
        if (!response.late) return send(std::move(response));
        timer_.expires_after(server_.limits.late);
        timer_.async_wait([self = shared_from_this(), response](beast::error_code problem) mutable {
            if (!problem) self->send(std::move(response));
        });
    }

    void send(Response response) {
        if (response.events && server_.listening.size() >= server_.limits.listeners) {
            response = refusal(503, "listeners", "too many pages are open");
        }
        const bool events = response.events && !head_;
        if (events) keepAlive_ = false;
        media::Descriptor file;
        if (!response.file.path.empty()) {
            file = media::Descriptor(open(response.file.path.c_str(), O_RDONLY | O_CLOEXEC));
            if (!file) response = refusal(404, "gone", "the file is not there any more");
        }
        out_ = headOf(response, keepAlive_);
        if (events) return listen();
        if (!head_) out_ += response.body;
        file_ = head_ ? media::Descriptor() : std::move(file);
        place_ = response.file.first;
        left_ = file_ ? response.file.count : 0;
        write();
    }

    void write() {
        stream_.expires_after(server_.limits.writing);
        net::async_write(stream_, net::buffer(out_),
                         [self = shared_from_this()](beast::error_code problem, std::size_t) {
                             if (problem) return self->close();
                             self->onWritten();
                         });
    }

    void onWritten() {
        if (left_ > 0) {
            out_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left_, kPiece)));
            const ssize_t count = pread(file_.get(), out_.data(), out_.size(), static_cast<off_t>(place_));
            // What was promised cannot be sent: the client sees it by the length.
            if (count <= 0) return close();
            out_.resize(static_cast<std::size_t>(count));
            place_ += static_cast<std::uint64_t>(count);
            left_ -= static_cast<std::uint64_t>(count);
            return write();
        }
        file_ = {};
        if (keepAlive_)
            wait();
        else
            close();
    }

    // Events: a queue of texts, and a line of comment when nothing else was said for a while. That the other
    // side is gone shows when one of them cannot be sent.
    void listen() {
        queue_.push_back(out_ + "retry: 1000\n: welcome\n\n");
        const std::weak_ptr<Session> weak = weak_from_this();
        net::io_context& io = server_.io;
        listener_ = server_.events->add([weak, &io](const std::string& text) {
            net::post(io, [weak, text] {
                if (const std::shared_ptr<Session> self = weak.lock()) self->enqueue(text);
            });
        });
        server_.listening.insert(listener_);
        beat();
        drain();
    }

    void beat() {
        timer_.expires_after(server_.limits.ping);
        timer_.async_wait([self = shared_from_this()](beast::error_code problem) {
            if (problem || self->closed_) return;
            self->enqueue(": ping\n\n");
            self->beat();
        });
    }

    void enqueue(const std::string& text) {
        if (closed_) return;
        unsent_ += text.size();
        if (unsent_ > kMostUnsent) return close();
        queue_.push_back(text);
        if (!draining_) drain();
    }

    void drain() {
        draining_ = !queue_.empty();
        if (!draining_) return;
        stream_.expires_after(server_.limits.writing);
        net::async_write(stream_, net::buffer(queue_.front()),
                         [self = shared_from_this()](beast::error_code problem, std::size_t count) {
                             if (problem) return self->close();
                             self->unsent_ -= std::min(self->unsent_, count);
                             self->queue_.pop_front();
                             self->drain();
                         });
    }

    void close() {
        if (std::exchange(closed_, true)) return;
        if (listener_ != 0) server_.forget(listener_);
        timer_.cancel();
        beast::error_code ignored;
        stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
        stream_.close();
    }

    Impl& server_;
    beast::tcp_stream stream_;
    net::steady_timer timer_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    bool keepAlive_ = false;
    bool head_ = false;
    bool closed_ = false;
    std::string out_;
    media::Descriptor file_;
    std::uint64_t place_ = 0;
    std::uint64_t left_ = 0;
    std::uint64_t listener_ = 0;
    std::deque<std::string> queue_;
    std::size_t unsent_ = 0;
    bool draining_ = false;
};

void HttpServer::Impl::accept() {
    acceptor.async_accept([this](beast::error_code problem, tcp::socket socket) {
        if (problem == net::error::operation_aborted) return;
        if (problem) {
            // No descriptors are left: some will be given back.
            pause.expires_after(std::chrono::milliseconds(100));
            pause.async_wait([this](beast::error_code stopped) {
                if (!stopped) accept();
            });
            return;
        }
        if (connections < limits.connections) {
            beast::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            std::make_shared<Session>(*this, std::move(socket))->wait();
        }
        accept();
    });
}

HttpServer::HttpServer(std::uint16_t port, const HttpLimits& limits) : impl_(std::make_unique<Impl>(limits)) {
    const tcp::endpoint here(net::ip::address_v4::loopback(), port);
    beast::error_code problem;
    tcp::acceptor& acceptor = impl_->acceptor;
    acceptor.open(here.protocol(), problem);
    if (!problem) acceptor.set_option(net::socket_base::reuse_address(true), problem);
    if (!problem) acceptor.bind(here, problem);
    if (!problem) acceptor.listen(128, problem);
    if (problem)
        throw edit::Refusal(edit::Problem::RenderFailed,
                            fmt::format("port {} of 127.0.0.1 cannot be used: {}; choose another --port, or "
                                        "leave it out",
                                        port, problem.message()));
    fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
}

HttpServer::~HttpServer() {
    stop();
}

std::uint16_t HttpServer::port() const {
    return impl_->acceptor.local_endpoint().port();
}

void HttpServer::start(Handler handler, Events& events) {
    impl_->handler = std::move(handler);
    impl_->events = &events;
    impl_->accept();
    impl_->thread = std::thread([this] { impl_->io.run(); });
}

void HttpServer::stop() {
    if (!impl_->thread.joinable()) return;
    // What has been answered by now is still sent, "good bye" among it.
    net::post(impl_->io, [this] {
        beast::error_code ignored;
        impl_->acceptor.close(ignored);
        impl_->pause.expires_after(std::chrono::milliseconds(50));
        impl_->pause.async_wait([this](beast::error_code) { impl_->io.stop(); });
    });
    impl_->thread.join();
    for (const std::uint64_t listener : impl_->listening) impl_->events->remove(listener);
    impl_->listening.clear();
    impl_->events = nullptr;
}

}  // namespace tumblewash::studio
