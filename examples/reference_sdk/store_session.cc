#include "examples/reference_sdk/store_session.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

#include "examples/reference_sdk/termination.h"

namespace reference_sdk {
namespace {

// Fewer and larger reads and sends than curl's 64 KiB.
constexpr long kSendBufferBytes = 512 * 1024;
// What is read of an answer; one that goes on and on is cut off.
constexpr size_t kKeptAnswerBytes = 64 * 1024;
constexpr uint64_t kMaxAnswerBytes = 1024 * 1024;
constexpr long kClearUpMs = 10000;

using CurlHeaders = std::unique_ptr<curl_slist, void (*)(curl_slist*)>;

bool AddHeader(CurlHeaders* headers, const std::string& line) {
  curl_slist* longer = curl_slist_append(headers->get(), line.c_str());
  if (longer == nullptr) return false;
  // A list that has a head keeps it.
  if (headers->get() == nullptr) headers->reset(longer);
  return true;
}

// All x-amz headers become part of curl's signature.
CurlHeaders MakeHeaders(const Credentials& credentials, const char* content_type) {
  CurlHeaders headers(nullptr, curl_slist_free_all);
  // curl does not hash the body; over TLS the connection protects it.
  bool ok = AddHeader(&headers, "x-amz-content-sha256: UNSIGNED-PAYLOAD");
  if (!credentials.security_token.empty()) {
    ok = ok && AddHeader(&headers, "x-amz-security-token: " + credentials.security_token);
  }
  ok = ok && AddHeader(&headers, std::string("Content-Type: ") + content_type);
  if (!ok) headers.reset();
  return headers;
}

bool HasControlCharacters(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
  });
}

// In steps, so that a process that is to end does not wait for the next try.
void PauseBeforeTry(int next_try, const UploadOptions& options) {
  const long factor = next_try == 2 ? 1 : 3;
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(factor * options.retry_pause_ms);
  while (!Termination::Requested()) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero()) return;
    std::this_thread::sleep_for(
        std::min<std::chrono::nanoseconds>(left, std::chrono::milliseconds(100)));
  }
}

}  // namespace

// One request and what comes back, as curl's callbacks see it.
struct StoreSession::Exchange {
  const StoreRequest* request = nullptr;
  StoreAnswer* answer = nullptr;
  uint64_t read = 0;
  uint64_t answer_bytes = 0;
  bool answer_head_is_whole = false;
  // Set when the process was asked to end.
  std::chrono::steady_clock::time_point end = std::chrono::steady_clock::time_point::max();

  void Rewind() {
    read = 0;
    answer_bytes = 0;
    answer_head_is_whole = false;
    *answer = {};
  }

  ssize_t Read(char* data, size_t wanted) {
    if (request->fd < 0) {
      request->text.copy(data, wanted, static_cast<size_t>(read));
      return static_cast<ssize_t>(wanted);
    }
    ssize_t got = -1;
    do {
      got = pread(request->fd, data, wanted, static_cast<off_t>(request->offset + read));
    } while (got < 0 && errno == EINTR);
    return got;
  }

  static size_t OnRead(char* data, size_t item, size_t items, void* opaque) {
    auto* exchange = static_cast<Exchange*>(opaque);
    const StoreRequest& request = *exchange->request;
    const uint64_t wanted = std::min<uint64_t>(item * items, request.size - exchange->read);
    const ssize_t got = exchange->Read(data, static_cast<size_t>(wanted));
    if (got < 0 || (got == 0 && wanted > 0)) return CURL_READFUNC_ABORT;
    exchange->read += static_cast<uint64_t>(got);
    if (request.progress != nullptr) request.progress->Update(request.offset + exchange->read);
    return static_cast<size_t>(got);
  }

  static int OnSeek(void* opaque, curl_off_t offset, int origin) {
    if (origin != SEEK_SET || offset < 0) return CURL_SEEKFUNC_CANTSEEK;
    static_cast<Exchange*>(opaque)->read = static_cast<uint64_t>(offset);
    return CURL_SEEKFUNC_OK;
  }

  static size_t OnAnswer(char* data, size_t item, size_t items, void* opaque) {
    auto* exchange = static_cast<Exchange*>(opaque);
    std::string* kept = &exchange->answer->body;
    exchange->answer_bytes += item * items;
    kept->append(data, std::min(item * items, kKeptAnswerBytes - kept->size()));
    return exchange->answer_bytes > kMaxAnswerBytes ? 0 : item * items;
  }

  // Is given line after line, each with its end; a head that broke off lacks the empty one. Interim
  // answers (100) have heads of their own.
  static size_t OnHead(char* data, size_t item, size_t items, void* opaque) {
    auto* exchange = static_cast<Exchange*>(opaque);
    const std::string_view line(data, item * items);
    if (line == "\r\n" || line == "\n") {
      exchange->answer_head_is_whole = true;
    } else if (line.substr(0, 5) == "HTTP/") {
      exchange->answer_head_is_whole = false;
    } else if (line.size() > 5 && strncasecmp(data, "etag:", 5) == 0) {
      const size_t start = line.find_first_not_of(" \t", 5);
      const size_t end = line.find_last_not_of(" \t\r\n") + 1;
      if (start < end) exchange->answer->etag = line.substr(start, end - start);
    }
    return line.size();
  }

  // Called about once a second also when nothing moves.
  static int OnProgress(void* opaque, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto* exchange = static_cast<Exchange*>(opaque);
    if (!Termination::Requested() || exchange->request->clears_up) return 0;
    if (!exchange->request->is_needed) return 1;
    const auto now = std::chrono::steady_clock::now();
    if (exchange->end == exchange->end.max()) {
      exchange->end = now + std::chrono::milliseconds(kClearUpMs);
    }
    return now < exchange->end ? 0 : 1;
  }
};

StoreSession::StoreSession(const Credentials& credentials, const UploadOptions& options,
                           StoreFailure* failure)
    : curl_(library_.ready() ? curl_easy_init() : nullptr, curl_easy_cleanup),
      credentials_(credentials),
      options_(options),
      failure_(failure) {}

UploadStatus StoreSession::Open() {
  *failure_ = {};
  // A line break would smuggle further headers into the request.
  if (HasControlCharacters(credentials_.access_key_id) ||
      HasControlCharacters(credentials_.security_token)) {
    failure_->reason = "the credentials hold control characters";
    return kStoreRefused;
  }
  failure_->reason = CurlLibrary::WhyItCannotSign();
  if (!failure_->reason.empty()) return kNetworkLibraryUnfit;
  return curl_ ? kStored : kStoreUnreachable;
}

void StoreSession::SetRequest(const StoreRequest& request, const curl_slist* headers,
                              CurlSettings* settings) {
  settings->Set(CURLOPT_URL, request.url.c_str());
  settings->Set(CURLOPT_UPLOAD, 1L);
  settings->Set(CURLOPT_CUSTOMREQUEST, request.method);
  settings->Set(CURLOPT_HTTPHEADER, headers);
  settings->Set(kOptionAwsSigV4, ("aws:amz:" + options_.region + ":s3").c_str());
  // Signing or nothing: where it is not to be had, the secret must not go out in another way.
  settings->Set(CURLOPT_HTTPAUTH, kAuthAwsSigV4);
  settings->Set(CURLOPT_USERNAME, credentials_.access_key_id.c_str());
  settings->Set(CURLOPT_PASSWORD, credentials_.access_key_secret.c_str());
  settings->Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  // The signed path is the one that is sent.
  settings->Set(CURLOPT_PATH_AS_IS, 1L);
  settings->Set(kOptionUploadBufferSize, kSendBufferBytes);
}

void StoreSession::SetSafety(const StoreRequest& request, CurlSettings* settings) const {
  // A signed request, and logs, are for the store that was named and for no other.
  settings->Set(CURLOPT_FOLLOWLOCATION, 0L);
  settings->Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  settings->Set(CURLOPT_SSL_VERIFYPEER, 1L);
  settings->Set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options_.ca_file.empty()) {
    settings->Set(CURLOPT_CAINFO, options_.ca_file.c_str());
    // The system's folder would still be trusted beside the file.
    settings->Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  settings->Set(CURLOPT_CONNECTTIMEOUT_MS, options_.connect_timeout_ms);
  settings->Set(CURLOPT_LOW_SPEED_LIMIT, kStallBytesPerSecond);
  settings->Set(CURLOPT_LOW_SPEED_TIME, options_.stall_timeout_s);
  if (request.clears_up) settings->Set(CURLOPT_TIMEOUT_MS, kClearUpMs);
  // Signals belong to the host program.
  settings->Set(CURLOPT_NOSIGNAL, 1L);
}

void StoreSession::SetBody(Exchange* exchange, CurlSettings* settings) {
  settings->Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(exchange->request->size));
  settings->Set(CURLOPT_READFUNCTION, &Exchange::OnRead);
  settings->Set(CURLOPT_READDATA, exchange);
  settings->Set(CURLOPT_SEEKFUNCTION, &Exchange::OnSeek);
  settings->Set(CURLOPT_SEEKDATA, exchange);
  settings->Set(CURLOPT_WRITEFUNCTION, &Exchange::OnAnswer);
  settings->Set(CURLOPT_WRITEDATA, exchange);
  settings->Set(CURLOPT_HEADERFUNCTION, &Exchange::OnHead);
  settings->Set(CURLOPT_HEADERDATA, exchange);
  settings->Set(CURLOPT_XFERINFOFUNCTION, &Exchange::OnProgress);
  settings->Set(CURLOPT_XFERINFODATA, exchange);
  settings->Set(CURLOPT_NOPROGRESS, 0L);
}

UploadTry StoreSession::Try(Exchange* exchange) {
  exchange->Rewind();
  UploadTry result;
  result.code = curl_easy_perform(curl_.get());
  curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &result.http_code);
  curl_easy_getinfo(curl_.get(), CURLINFO_HTTP_VERSION, &result.http_version);
  curl_easy_getinfo(curl_.get(), CURLINFO_OS_ERRNO, &result.system_error);
  result.head_is_whole = exchange->answer_head_is_whole;
  curl_off_t sent = 0;
  curl_easy_getinfo(curl_.get(), kInfoSizeUpload, &sent);
  result.archive_was_sent = sent >= static_cast<curl_off_t>(exchange->request->size);
  return result;
}

UploadStatus StoreSession::Send(const StoreRequest& request, StoreAnswer* answer) {
  const CurlHeaders headers = MakeHeaders(credentials_, request.content_type);
  if (!headers) return kStoreUnreachable;
  // Keeps connections that stand.
  curl_easy_reset(curl_.get());
  CurlSettings settings(curl_.get());
  Exchange exchange;
  exchange.request = &request;
  exchange.answer = answer;
  SetRequest(request, headers.get(), &settings);
  SetSafety(request, &settings);
  SetBody(&exchange, &settings);
  if (settings.refused()) {
    failure_->reason = settings.Reason();
    return kNetworkLibraryUnfit;
  }
  for (int attempt = 1;; ++attempt) {
    const UploadTry result = Try(&exchange);
    failure_->http_code = result.http_code;
    failure_->reason = ReasonOfTry(result);
    const bool last = attempt == kUploadTries || request.clears_up || Termination::Requested();
    if (last || !IsWorthAnotherTry(result)) return StatusOfTry(result);
    PauseBeforeTry(attempt + 1, options_);
  }
}

}  // namespace reference_sdk
