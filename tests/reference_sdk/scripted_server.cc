#include "tests/reference_sdk/scripted_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "tests/support/platform.h"

namespace reference_sdk {
namespace {

void Send(int fd, const std::string& text) { send(fd, text.data(), text.size(), MSG_NOSIGNAL); }

void SendSlowly(int fd, const std::string& text, int pause_ms) {
  for (const char byte : text) {
    if (send(fd, &byte, 1, MSG_NOSIGNAL) != 1) return;
    usleep(static_cast<useconds_t>(pause_ms) * 1000);
  }
}

// Waits until `done` bytes may have been read. The times are counted from the start, so that a busy
// machine does not make the reading any slower.
void KeepTo(size_t bytes_per_s, size_t done, std::chrono::steady_clock::time_point start) {
  if (bytes_per_s == 0) return;
  const std::chrono::duration<double> due(static_cast<double>(done) /
                                          static_cast<double>(bytes_per_s));
  std::this_thread::sleep_until(
      start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(due));
}

size_t ContentLength(const std::string& head) {
  const size_t at = head.find("Content-Length: ");
  return at == std::string::npos ? 0 : strtoul(head.c_str() + at + 16, nullptr, 10);
}

}  // namespace

ScriptedServer::ScriptedServer(std::vector<ScriptedAnswer> script) : script_(std::move(script)) {
  listener_ = oru_test::MakeSocket(AF_INET, SOCK_STREAM);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(listener_, 8), 0);
  socklen_t length = sizeof address;
  getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  endpoint_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  int ends[2] = {-1, -1};
  EXPECT_EQ(oru_test::MakePipe(ends), 0);
  stop_read_ = ends[0];
  stop_write_ = ends[1];
  thread_ = std::thread(&ScriptedServer::Serve, this);
}

ScriptedServer::~ScriptedServer() {
  close(stop_write_);
  thread_.join();
  close(stop_read_);
  close(listener_);
}

std::vector<SeenRequest> ScriptedServer::requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

void ScriptedServer::Serve() {
  for (size_t turn = 0;; ++turn) {
    pollfd fds[2] = {{listener_, POLLIN, 0}, {stop_read_, 0, 0}};
    poll(fds, 2, -1);
    if (fds[1].revents != 0) return;
    const int fd = oru_test::AcceptConnection(listener_);
    if (fd < 0) continue;
    HandleConnection(fd, script_[std::min(turn, script_.size() - 1)]);
    close(fd);
  }
}

bool ScriptedServer::ReadSome(int fd, std::string* data) const {
  pollfd fds[2] = {{fd, POLLIN, 0}, {stop_read_, 0, 0}};
  poll(fds, 2, -1);
  if (fds[1].revents != 0) return false;
  char buffer[65536];
  const ssize_t got = read(fd, buffer, sizeof buffer);
  if (got <= 0) return false;
  data->append(buffer, static_cast<size_t>(got));
  return true;
}

void ScriptedServer::HandleConnection(int fd, const ScriptedAnswer& answer) {
  std::string data;
  while (data.find("\r\n\r\n") == std::string::npos) {
    if (!ReadSome(fd, &data)) return;
  }
  SeenRequest seen;
  seen.head = data.substr(0, data.find("\r\n\r\n") + 2);
  seen.body = data.substr(seen.head.size() + 2);
  const bool asks = seen.head.find("Expect: 100-continue") != std::string::npos;
  if (!answer.before_body && !answer.stall) {
    if (asks) Send(fd, "HTTP/1.1 100 Continue\r\n\r\n");
    const size_t wanted = std::min(ContentLength(seen.head), answer.close_after);
    const auto start = std::chrono::steady_clock::now();
    while (seen.body.size() < wanted && ReadSome(fd, &seen.body)) {
      KeepTo(answer.body_bytes_per_s, seen.body.size(), start);
    }
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(seen);
  }
  if (answer.stall) {
    pollfd stop{stop_read_, 0, 0};
    poll(&stop, 1, -1);
    return;
  }
  if (!answer.raw.empty() && answer.pause_ms != 0) {
    return SendSlowly(fd, answer.raw, answer.pause_ms);
  }
  if (!answer.raw.empty()) return Send(fd, answer.raw);
  if (answer.status == 0 || answer.close_after != std::string::npos) return;
  Send(fd, "HTTP/1.1 " + std::to_string(answer.status) + " Scripted\r\n" + answer.headers +
               "Content-Length: 0\r\nConnection: close\r\n\r\n");
}

}  // namespace reference_sdk
