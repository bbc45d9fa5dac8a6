// A web server inside the test that answers as it was told: for answers that a real store does not
// give on demand.
#ifndef TESTS_REFERENCE_SDK_SCRIPTED_SERVER_H_
#define TESTS_REFERENCE_SDK_SCRIPTED_SERVER_H_

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace reference_sdk {

struct ScriptedAnswer {
  // 0: the connection is closed without an answer.
  int status = 200;
  // Header lines, each ending in "\r\n".
  std::string headers = {};
  // Answer before the body was asked for or read.
  bool before_body = false;
  // Read the head, then nothing more, and keep the connection open until the server ends.
  bool stall = false;
  // Close the connection after so many bytes of the body.
  size_t close_after = std::string::npos;
  // Sent as it stands instead of the answer; the connection is closed behind it.
  std::string raw = {};
  // Between one byte of `raw` and the next.
  int pause_ms = 0;
  // The body is read no faster than that; 0: as fast as it comes.
  size_t body_bytes_per_s = 0;
};

struct SeenRequest {
  // The request line and the header lines.
  std::string head;
  std::string body;
};

// Serves one connection after the other on a loopback port, one request each. The last answer of
// the script is repeated.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<ScriptedAnswer> script);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  // "http://127.0.0.1:PORT".
  const std::string& endpoint() const { return endpoint_; }
  std::vector<SeenRequest> requests() const;

 private:
  void Serve();
  void HandleConnection(int fd, const ScriptedAnswer& answer);
  // False when the server ends or the client closed.
  bool ReadSome(int fd, std::string* data) const;

  std::vector<ScriptedAnswer> script_;
  std::string endpoint_;
  int listener_ = -1;
  int stop_read_ = -1;
  int stop_write_ = -1;
  mutable std::mutex mutex_;
  std::vector<SeenRequest> requests_;  // Guarded by mutex_.
  std::thread thread_;
};

}  // namespace reference_sdk

#endif  // TESTS_REFERENCE_SDK_SCRIPTED_SERVER_H_
