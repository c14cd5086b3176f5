// A small HTTP server on 127.0.0.1 for the update check's tests: each connection is
// served on a thread of its own, well-behaved or hostile as the test asks.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vitrella::testing {

class HttpTestServer {
 public:
  enum class Mode {
    kServe,             // the body with its length, then close
    kEndless,           // headers without a length, then data until the client leaves
    kTenMegabytes,      // a declared 10 MB body, all of it sent
    kStall,             // reads the request and answers nothing
    kStallAfterHeader,  // answers the status line and headers, then nothing
    kRedirectLoop,      // every request is sent to itself again
  };

  explicit HttpTestServer(Mode mode, std::string body = {}) : mode_(mode), body_(std::move(body)) {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener_, 16) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      return;
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { Accept(); });
  }

  HttpTestServer(const HttpTestServer&) = delete;
  HttpTestServer& operator=(const HttpTestServer&) = delete;

  ~HttpTestServer() {
    stop_ = true;
    if (acceptor_.joinable()) acceptor_.join();
    for (std::thread& worker : workers_)
      worker.join();
    close(listener_);
  }

  int Port() const { return port_; }
  std::string Address() const { return "http://127.0.0.1:" + std::to_string(port_); }

  // The requests received so far, each up to the end of its headers.
  std::vector<std::string> Requests() {
    const std::lock_guard hold(lock_);
    return requests_;
  }

  // A port on which nothing listens: bound, then closed again.
  static int RefusingPort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    const bool bound = bind(probe, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(probe);
    return bound ? ntohs(address.sin_port) : 0;  // nothing listens on port 0 either
  }

 private:
  // Waits for the socket to be ready, a tenth of a second at a time, until the server stops.
  bool Wait(int fd, short events) {
    while (!stop_) {
      pollfd entry{fd, events, 0};
      if (poll(&entry, 1, 100) > 0) return true;
    }
    return false;
  }

  void Accept() {
    while (Wait(listener_, POLLIN)) {
      const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) continue;
      workers_.emplace_back([this, client] {
        Serve(client);
        close(client);
      });
    }
  }

  bool Send(int client, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
      if (!Wait(client, POLLOUT)) return false;
      const ssize_t put = send(client, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
      if (put <= 0) return false;
      done += static_cast<size_t>(put);
    }
    return true;
  }

  void Serve(int client) {
    std::string request;
    char chunk[4096];
    while (request.find("\r\n\r\n") == std::string::npos && request.size() < 65536) {
      if (!Wait(client, POLLIN)) return;
      const ssize_t got = recv(client, chunk, sizeof(chunk), 0);
      if (got <= 0) return;
      request.append(chunk, static_cast<size_t>(got));
    }
    {
      const std::lock_guard hold(lock_);
      requests_.push_back(request);
    }
    switch (mode_) {
      case Mode::kServe:
        Send(client, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body_.size()) +
                         "\r\nConnection: close\r\n\r\n" + body_);
        break;
      case Mode::kEndless: {
        if (!Send(client, "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n<Version>")) break;
        const std::string block(65536, 'x');
        while (Send(client, block)) {
        }
        break;
      }
      case Mode::kTenMegabytes: {
        constexpr size_t kTotal = 10 << 20;
        if (!Send(client, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kTotal) +
                              "\r\nConnection: close\r\n\r\n")) {
          break;
        }
        const std::string block(65536, 'y');
        for (size_t sent = 0; sent < kTotal && Send(client, block); sent += block.size()) {
        }
        break;
      }
      case Mode::kStall:
        Wait(-1, 0);
        break;
      case Mode::kStallAfterHeader:
        Send(client, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<Ver");
        Wait(-1, 0);
        break;
      case Mode::kRedirectLoop: {
        const size_t start = request.find(' ') + 1;
        const std::string path = request.substr(start, request.find(' ', start) - start);
        Send(client, "HTTP/1.1 302 Found\r\nLocation: " + path +
                         "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        break;
      }
    }
  }

  Mode mode_;
  std::string body_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread acceptor_;
  std::vector<std::thread> workers_;  // touched by the acceptor alone until it is joined
  std::mutex lock_;
  std::vector<std::string> requests_;
};

}  // namespace vitrella::testing
