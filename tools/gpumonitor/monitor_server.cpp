#include "tools/gpumonitor/monitor_server.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <map>
#include <set>
#include <vector>

#include "tools/gpumonitor/monitor_state.h"
#include "tools/gpumonitor/report_store.h"

namespace vitrella::monitor {
namespace {

using Clock = std::chrono::steady_clock;

// A monitor that was started for nothing (its host gave up) does not stay.
constexpr auto kFirstHostWait = std::chrono::seconds(5);
// A message is a few names and a guid; anything longer is no host's.
constexpr size_t kMaxMessageBytes = 4096;
// Connections that have not been read to their end; more are refused.
constexpr size_t kMaxClients = 1024;
// How often hosts that cannot be watched through a pidfd are looked for.
constexpr int kHostPollMs = 250;

struct Client {
  int64_t pid = 0;
  std::string bytes;
};

class Server {
 public:
  explicit Server(std::string path) : path_(std::move(path)) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    CloseListener();
    for (const auto& [fd, client] : clients_)
      close(fd);
    for (const auto& [pid, fd] : watches_)
      if (fd >= 0) close(fd);
    if (epoll_ >= 0) close(epoll_);
    if (lock_ >= 0) close(lock_);
  }

  int Run() {
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_ < 0) return 1;
    // One monitor per socket: a second one started at the same moment leaves quietly.
    lock_ = open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock_ < 0) return 1;
    if (flock(lock_, LOCK_EX | LOCK_NB) != 0) return errno == EWOULDBLOCK ? 0 : 1;
    if (!Listen()) return 1;

    const Clock::time_point started = Clock::now();
    bool served = false;
    epoll_event events[64];
    for (;;) {
      const int timeout = polledHosts_.empty() ? 1000 : kHostPollMs;
      const int count = epoll_wait(epoll_, events, 64, timeout);
      if (count < 0 && errno != EINTR) return 1;
      for (int i = 0; i < count; ++i) {
        const int fd = events[i].data.fd;
        if (fd == listener_) {
          AcceptAll();
        } else if (const auto watched = endedBy_.find(fd); watched != endedBy_.end()) {
          ended_.insert(watched->second);
        } else {
          ReadClient(fd);
        }
      }
      for (const int64_t pid : polledHosts_) {
        if (kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) ended_.insert(pid);
      }
      if (!ended_.empty()) SettleEnded();
      served = served || !state_.Empty();
      if (state_.Empty() && (served || Clock::now() - started > kFirstHostWait)) {
        // The socket goes first, so that a host that comes now finds none and gives up;
        // then whatever was queued before is heard out.
        CloseListener();
        Drain();
        if (!ended_.empty()) SettleEnded();
        if (state_.Empty()) return 0;
        if (!Listen()) return 1;
      }
    }
  }

 private:
  bool Listen() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.empty() || path_.size() >= sizeof(address.sun_path)) return false;
    std::memcpy(address.sun_path, path_.data(), path_.size());
    // The lock is held: a socket standing there was left by a monitor that died.
    unlink(path_.c_str());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener_ < 0) return false;
    // Only this user's hosts may report, also in a temporary folder that all users share.
    const mode_t mask = umask(077);
    const bool bound =
        bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    umask(mask);
    if (!bound || listen(listener_, SOMAXCONN) != 0) return false;
    return Add(listener_);
  }

  void CloseListener() {
    if (listener_ < 0) return;
    unlink(path_.c_str());
    close(listener_);
    listener_ = -1;
  }

  bool Add(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) == 0;
  }

  void AcceptAll() {
    while (listener_ >= 0) {
      const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
      if (fd < 0) {
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return;
      }
      ucred peer{};
      socklen_t size = sizeof(peer);
      if (clients_.size() >= kMaxClients ||
          getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || !Add(fd)) {
        close(fd);
        continue;
      }
      clients_[fd] = Client{peer.pid, {}};
      // A host writes its message right after connecting: most are whole already.
      ReadClient(fd);
    }
  }

  // Reads what is there; a connection that ended delivers its message.
  void ReadClient(int fd) {
    const auto found = clients_.find(fd);
    if (found == clients_.end()) return;
    Client& client = found->second;
    char buffer[1024];
    for (;;) {
      const ssize_t got = read(fd, buffer, sizeof(buffer));
      if (got > 0) {
        client.bytes.append(buffer, static_cast<size_t>(got));
        if (client.bytes.size() <= kMaxMessageBytes) continue;
      } else if (got < 0 && errno == EINTR) {
        continue;
      } else if (got < 0 && errno == EAGAIN) {
        return;
      } else if (got == 0) {
        Deliver(client);
      }
      break;
    }
    close(fd);
    clients_.erase(found);
  }

  void Deliver(const Client& client) {
    const bool known = state_.Knows(client.pid);
    if (!state_.Receive(client.pid, client.bytes) || known) return;
    // A new host: watch for its end.
    // Through syscall: glibc 2.36's declaration of pidfd_open lacks C linkage for C++.
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(client.pid), 0));
    if (fd >= 0 && Add(fd)) {
      watches_[client.pid] = fd;
      endedBy_[fd] = client.pid;
      return;
    }
    if (fd >= 0) close(fd);
    if (errno == ESRCH) {
      ended_.insert(client.pid);
    } else {
      polledHosts_.insert(client.pid);
    }
  }

  // Everything queued and written so far, which holds every message of a host that ended.
  void Drain() {
    AcceptAll();
    std::vector<int> open;
    for (const auto& [fd, client] : clients_)
      open.push_back(fd);
    for (const int fd : open)
      ReadClient(fd);
  }

  void SettleEnded() {
    // A host's last messages may still wait in the queue when its end is seen.
    Drain();
    for (const int64_t pid : ended_) {
      if (const std::optional<CrashReport> report = state_.Ended(pid)) {
        StoreCrashReport(*report, std::time(nullptr));
      }
      if (const auto watch = watches_.find(pid); watch != watches_.end()) {
        endedBy_.erase(watch->second);
        close(watch->second);
        watches_.erase(watch);
      }
      polledHosts_.erase(pid);
    }
    ended_.clear();
  }

  std::string path_;
  int epoll_ = -1;
  int lock_ = -1;
  int listener_ = -1;
  std::map<int, Client> clients_;
  std::map<int64_t, int> watches_;  // host → its pidfd
  std::map<int, int64_t> endedBy_;  // pidfd → host
  std::set<int64_t> polledHosts_;   // hosts without a pidfd
  std::set<int64_t> ended_;
  MonitorState state_;
};

}  // namespace

int ServeMonitor(const std::string& path) {
  Server server(path);
  return server.Run();
}

}  // namespace vitrella::monitor
