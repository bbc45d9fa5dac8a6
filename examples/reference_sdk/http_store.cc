#include "examples/reference_sdk/http_store.h"

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string_view>
#include <thread>

#include "examples/reference_sdk/progress.h"
#include "examples/reference_sdk/upload_try.h"

namespace reference_sdk {
namespace {

// Fewer and larger reads and sends than curl's 64 KiB.
constexpr long kSendBufferBytes = 512 * 1024;
// What a store says is of no use here; one that goes on and on is cut off.
constexpr uint64_t kMaxAnswerBytes = 1024 * 1024;

using CurlHandle = std::unique_ptr<CURL, void (*)(CURL*)>;
using CurlHeaders = std::unique_ptr<curl_slist, void (*)(curl_slist*)>;

// curl's process-wide state; nests.
class CurlLibrary {
 public:
  CurlLibrary() : ready_(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK) {}
  ~CurlLibrary() {
    if (ready_) curl_global_cleanup();
  }
  CurlLibrary(const CurlLibrary&) = delete;
  CurlLibrary& operator=(const CurlLibrary&) = delete;
  bool ready() const { return ready_; }

 private:
  bool ready_;
};

// The archive as curl reads it.
struct Body {
  int fd = -1;
  uint64_t size = 0;
  uint64_t offset = 0;
  uint64_t answer_bytes = 0;
  bool answer_head_is_whole = false;
  Progress progress{"sent", 0};
};

size_t ReadBody(char* data, size_t item, size_t items, void* opaque) {
  auto* body = static_cast<Body*>(opaque);
  const uint64_t wanted = std::min<uint64_t>(item * items, body->size - body->offset);
  ssize_t got = -1;
  do {
    got = pread(body->fd, data, static_cast<size_t>(wanted), static_cast<off_t>(body->offset));
  } while (got < 0 && errno == EINTR);
  if (got < 0 || (got == 0 && wanted > 0)) return CURL_READFUNC_ABORT;
  body->offset += static_cast<uint64_t>(got);
  body->progress.Update(body->offset);
  return static_cast<size_t>(got);
}

int SeekBody(void* opaque, curl_off_t offset, int origin) {
  auto* body = static_cast<Body*>(opaque);
  if (origin != SEEK_SET || offset < 0) return CURL_SEEKFUNC_CANTSEEK;
  body->offset = static_cast<uint64_t>(offset);
  return CURL_SEEKFUNC_OK;
}

size_t DropAnswer(char* /*data*/, size_t item, size_t items, void* opaque) {
  auto* body = static_cast<Body*>(opaque);
  body->answer_bytes += item * items;
  return body->answer_bytes > kMaxAnswerBytes ? 0 : item * items;
}

// Is given line after line, each with its end; a head that broke off lacks the empty one. Interim
// answers (100) have heads of their own.
size_t WatchHead(char* data, size_t item, size_t items, void* opaque) {
  const std::string_view line(data, item * items);
  if (line == "\r\n" || line == "\n") {
    static_cast<Body*>(opaque)->answer_head_is_whole = true;
  } else if (line.substr(0, 5) == "HTTP/") {
    static_cast<Body*>(opaque)->answer_head_is_whole = false;
  }
  return line.size();
}

bool AddHeader(CurlHeaders* headers, const std::string& line) {
  curl_slist* longer = curl_slist_append(headers->get(), line.c_str());
  if (longer == nullptr) return false;
  // A list that has a head keeps it.
  if (headers->get() == nullptr) headers->reset(longer);
  return true;
}

// All x-amz headers become part of curl's signature.
CurlHeaders MakeHeaders(const Credentials& credentials) {
  CurlHeaders headers(nullptr, curl_slist_free_all);
  // curl does not hash the body; over TLS the connection protects it.
  bool ok = AddHeader(&headers, "x-amz-content-sha256: UNSIGNED-PAYLOAD");
  if (!credentials.security_token.empty()) {
    ok = ok && AddHeader(&headers, "x-amz-security-token: " + credentials.security_token);
  }
  ok = ok && AddHeader(&headers, "Content-Type: application/zip");
  if (!ok) headers.reset();
  return headers;
}

void SetRequest(CURL* curl, const std::string& url, const Credentials& credentials,
                const curl_slist* headers, const UploadOptions& options) {
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_AWS_SIGV4, ("aws:amz:" + options.region + ":s3").c_str());
  curl_easy_setopt(curl, CURLOPT_USERNAME, credentials.access_key_id.c_str());
  curl_easy_setopt(curl, CURLOPT_PASSWORD, credentials.access_key_secret.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  // The signed path is the one that is sent.
  curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, kSendBufferBytes);
}

void SetSafety(CURL* curl, const UploadOptions& options) {
  // A signed request, and logs, are for the store that was named and for no other.
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options.ca_file.empty()) {
    curl_easy_setopt(curl, CURLOPT_CAINFO, options.ca_file.c_str());
  }
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, options.connect_timeout_ms);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kStallBytesPerSecond);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, options.stall_timeout_s);
  // Signals belong to the host program.
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
}

void SetBody(CURL* curl, Body* body) {
  curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(body->size));
  curl_easy_setopt(curl, CURLOPT_READFUNCTION, ReadBody);
  curl_easy_setopt(curl, CURLOPT_READDATA, body);
  curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, SeekBody);
  curl_easy_setopt(curl, CURLOPT_SEEKDATA, body);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, DropAnswer);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, body);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, WatchHead);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, body);
}

UploadTry Try(CURL* curl, Body* body) {
  body->offset = 0;
  body->answer_bytes = 0;
  body->answer_head_is_whole = false;
  UploadTry result;
  result.code = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.http_code);
  curl_easy_getinfo(curl, CURLINFO_HTTP_VERSION, &result.http_version);
  result.head_is_whole = body->answer_head_is_whole;
  curl_off_t sent = 0;
  curl_easy_getinfo(curl, CURLINFO_SIZE_UPLOAD_T, &sent);
  result.archive_was_sent = sent >= static_cast<curl_off_t>(body->size);
  return result;
}

void PauseBeforeTry(int next_try, const UploadOptions& options) {
  const long factor = next_try == 2 ? 1 : 3;
  std::this_thread::sleep_for(std::chrono::milliseconds(factor * options.retry_pause_ms));
}

bool HasControlCharacters(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
  });
}

}  // namespace

UploadStatus PutToStore(int fd, uint64_t size, const std::string& url,
                        const Credentials& credentials, const UploadOptions& options,
                        StoreFailure* failure) {
  // A line break would smuggle further headers into the request.
  if (HasControlCharacters(credentials.access_key_id) ||
      HasControlCharacters(credentials.security_token)) {
    failure->reason = "the credentials hold control characters";
    return kStoreRefused;
  }
  const CurlLibrary library;
  const CurlHandle curl(library.ready() ? curl_easy_init() : nullptr, curl_easy_cleanup);
  const CurlHeaders headers = MakeHeaders(credentials);
  if (!curl || !headers) return kStoreUnreachable;

  char error[CURL_ERROR_SIZE] = "";
  Body body;
  body.fd = fd;
  body.size = size;
  body.progress = Progress("sent", size);
  SetRequest(curl.get(), url, credentials, headers.get(), options);
  SetSafety(curl.get(), options);
  SetBody(curl.get(), &body);
  curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, error);

  for (int attempt = 1;; ++attempt) {
    error[0] = '\0';
    const UploadTry result = Try(curl.get(), &body);
    failure->http_code = result.http_code;
    failure->reason = ReasonOfTry(result, error);
    if (attempt == kUploadTries || !IsWorthAnotherTry(result)) return StatusOfTry(result);
    PauseBeforeTry(attempt + 1, options);
  }
}

}  // namespace reference_sdk
