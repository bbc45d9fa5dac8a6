#include "examples/reference_sdk/http_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "examples/reference_sdk/log_files.h"
#include "tests/reference_sdk/scripted_server.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

const Credentials kCredentials{"key:id", "top-secret", ""};

class HttpStoreTest : public testing::Test {
 protected:
  HttpStoreTest() {
    // Loopback is not for a proxy.
    setenv("no_proxy", "*", 1);
    options_.retry_pause_ms = 1;
    options_.connect_timeout_ms = 5000;
    options_.stall_timeout_s = 1;
    SetBody("the archive");
  }

  void SetBody(const std::string& body) {
    body_ = body;
    oru_test::WriteFile(dir_.Join("body"), body);
    fd_.Reset(open(dir_.Join("body").c_str(), O_RDONLY));
  }

  UploadStatus Put(const std::string& endpoint, const Credentials& credentials = kCredentials) {
    failure_ = {};
    return PutToStore(fd_.get(), body_.size(), endpoint + "/bucket/app/key.zip", credentials,
                      options_, &failure_);
  }

  oru_test::TempDir dir_;
  UploadOptions options_;
  std::string body_;
  ScopedFd fd_;
  StoreFailure failure_;
};

TEST_F(HttpStoreTest, AStoredObjectTakesOneSignedRequest) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  const std::string& head = requests[0].head;
  EXPECT_EQ(head.find("PUT /bucket/app/key.zip HTTP/1.1\r\n"), 0U) << head;
  EXPECT_NE(head.find("Authorization: AWS4-HMAC-SHA256 Credential=key:id/"), std::string::npos)
      << head;
  EXPECT_NE(head.find("/us-east-1/s3/aws4_request"), std::string::npos) << head;
  EXPECT_NE(head.find("x-amz-content-sha256: UNSIGNED-PAYLOAD\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.find("security-token"), std::string::npos) << head;
  EXPECT_EQ(requests[0].body, "the archive");
}

TEST_F(HttpStoreTest, TheSecurityTokenIsSentAndSigned) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint(), {"k", "s", "tok/en+=="}), kStored);
  const std::string head = server.requests().at(0).head;
  EXPECT_NE(head.find("x-amz-security-token: tok/en+==\r\n"), std::string::npos) << head;
  const size_t signed_headers = head.find("SignedHeaders=");
  ASSERT_NE(signed_headers, std::string::npos) << head;
  EXPECT_NE(head.find("x-amz-security-token", signed_headers), std::string::npos) << head;
}

TEST_F(HttpStoreTest, AServerErrorIsTriedThreeTimesWithTheWholeBody) {
  SetBody(std::string(3000000, 'b'));
  ScriptedServer server({{500}});
  EXPECT_EQ(Put(server.endpoint()), kStoreFailed);
  EXPECT_EQ(failure_.http_code, 500);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  for (const SeenRequest& request : requests) EXPECT_EQ(request.body.size(), 3000000U);
}

TEST_F(HttpStoreTest, ASuccessAfterAServerErrorIsStored) {
  ScriptedServer server({{503}, {200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HttpStoreTest, ASuccessAfterABrokenConnectionIsStored) {
  ScriptedServer server({{0}, {200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HttpStoreTest, ClientErrorsAreNotTriedAgain) {
  for (const int status : {400, 403, 404, 408, 413, 429}) {
    ScriptedServer server({{status}});
    EXPECT_EQ(Put(server.endpoint()), kStoreRefused) << status;
    EXPECT_EQ(failure_.http_code, status);
    EXPECT_EQ(server.requests().size(), 1U) << status;
  }
}

TEST_F(HttpStoreTest, ARefusalBeforeTheBodyIsHeard) {
  SetBody(std::string(8000000, 'b'));
  ScriptedServer server({{403, "", true}});
  EXPECT_EQ(Put(server.endpoint()), kStoreRefused);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  // The body was not sent at all.
  EXPECT_EQ(requests[0].body, "");
}

TEST_F(HttpStoreTest, RedirectsAreNotFollowed) {
  ScriptedServer elsewhere({{200}});
  for (const int status : {301, 302, 307, 308}) {
    ScriptedServer server({{status, "Location: " + elsewhere.endpoint() + "/bucket/x\r\n"}});
    EXPECT_EQ(Put(server.endpoint()), kStoreRefused) << status;
    EXPECT_EQ(server.requests().size(), 1U);
  }
  EXPECT_EQ(elsewhere.requests().size(), 0U);
}

TEST_F(HttpStoreTest, AConnectionThatBreaksInMidUploadIsTriedThreeTimes) {
  SetBody(std::string(8000000, 'b'));
  ScriptedAnswer answer;
  answer.close_after = 1000000;
  ScriptedServer server({answer});
  EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable);
  EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(HttpStoreTest, AStoreThatDoesNotAnswerIsGivenUpWithinABound) {
  ScriptedAnswer answer;
  answer.stall = true;
  ScriptedServer server({answer});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GT(elapsed.count(), 0.9);
  EXPECT_LT(elapsed.count(), 30);
}

TEST_F(HttpStoreTest, APortWhereNobodyListensIsUnreachable) {
  std::string endpoint;
  {
    ScriptedServer server({{200}});
    endpoint = server.endpoint();
  }
  EXPECT_EQ(Put(endpoint), kStoreUnreachable);
  EXPECT_EQ(failure_.http_code, 0);
  EXPECT_NE(failure_.reason, "");
}

TEST_F(HttpStoreTest, PausesGrowBetweenTries) {
  options_.retry_pause_ms = 100;
  ScriptedServer server({{500}});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Put(server.endpoint()), kStoreFailed);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed.count(), 0.4);  // 100 and 300 ms.
}

TEST_F(HttpStoreTest, CredentialsWithLineBreaksAreNotSent) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint(), {"k", "s", "t\r\nX-Evil: 1"}), kStoreRefused);
  EXPECT_EQ(Put(server.endpoint(), {"k\n", "s", ""}), kStoreRefused);
  EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(HttpStoreTest, AnEmptyBodyIsStored) {
  SetBody("");
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
}

TEST_F(HttpStoreTest, AnArchiveThatCannotBeReadIsNoFaultOfTheStore) {
  ScriptedServer server({{200}});
  oru_test::WriteFile(dir_.Join("body"), "");  // Shorter than announced.
  EXPECT_EQ(Put(server.endpoint()), kArchiveNotWritten);
}

// A TLS server with a certificate of its own making.
class TlsStoreTest : public HttpStoreTest {
 protected:
  void SetUp() override {
    const auto made = oru_test::RunChild(
        {"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
         "-nodes", "-keyout", dir_.Join("key.pem"), "-out", dir_.Join("cert.pem"), "-days", "2",
         "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"});
    ASSERT_EQ(made.exit_code, 0) << made.err;
    oru_test::WriteFile(dir_.Join("both.pem"), oru_test::ReadFile(dir_.Join("key.pem")) +
                                                   oru_test::ReadFile(dir_.Join("cert.pem")));
    StartServer();
  }

  void TearDown() override {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  void StartServer() {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const std::string certificate = dir_.Join("both.pem");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      // The whole path: Python looks for its library beside what it is called by.
      execl("/usr/bin/python3", "/usr/bin/python3", ORU_TLS_SERVER, certificate.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    // The number and the line's end may come apart; the pipe stays open until both are here.
    std::string port;
    char byte = 0;
    while (read(ends[0], &byte, 1) == 1 && byte != '\n') port += byte;
    close(ends[0]);
    ASSERT_NE(port, "");
    endpoint_ = "127.0.0.1:" + port;
  }

  pid_t pid_ = -1;
  std::string endpoint_;
};

TEST_F(TlsStoreTest, AnUnknownCertificateIsRefused) {
  EXPECT_EQ(Put("https://" + endpoint_), kStoreUnreachable);
  EXPECT_NE(failure_.reason.find("certificate"), std::string::npos) << failure_.reason;
}

TEST_F(TlsStoreTest, ATrustedCertificateIsAccepted) {
  options_.ca_file = dir_.Join("cert.pem");
  EXPECT_EQ(Put("https://" + endpoint_), kStored) << failure_.reason;
}

TEST_F(TlsStoreTest, ATrustedCertificateOfAnotherHostIsRefused) {
  options_.ca_file = dir_.Join("cert.pem");
  const std::string port = endpoint_.substr(endpoint_.find(':'));
  EXPECT_EQ(Put("https://localhost" + port), kStoreUnreachable);
}

}  // namespace
}  // namespace reference_sdk
