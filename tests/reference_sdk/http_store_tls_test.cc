// The store behind TLS: whose certificate is accepted, and what is said about others.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/reference_sdk/http_store_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

// A TLS server with a certificate of its own making.
class TlsStoreTest : public HttpStoreTest {
 protected:
  void SetUp() override {
    Serve({"-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"});
  }

  void Serve(const std::vector<std::string>& whose) {
    std::vector<std::string> command = {"/usr/bin/openssl",
                                        "req",
                                        "-x509",
                                        "-newkey",
                                        "ec",
                                        "-pkeyopt",
                                        "ec_paramgen_curve:P-256",
                                        "-nodes",
                                        "-keyout",
                                        dir_.Join("key.pem"),
                                        "-out",
                                        dir_.Join("cert.pem"),
                                        "-days",
                                        "2"};
    command.insert(command.end(), whose.begin(), whose.end());
    const auto made = oru_test::RunChild(command);
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
    const std::string log = dir_.Join("connections");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      // The whole path: Python looks for its library beside what it is called by.
      execl("/usr/bin/python3", "/usr/bin/python3", ORU_TLS_SERVER, certificate.c_str(),
            log.c_str(), nullptr);
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

  // How often somebody has connected; a failed handshake counts, too.
  size_t Connections() const { return oru_test::ReadFile(dir_.Join("connections")).size(); }

  // The server by another name.
  std::string LocalhostEndpoint() const {
    return "https://localhost" + endpoint_.substr(endpoint_.find(':'));
  }

  pid_t pid_ = -1;
  std::string endpoint_;
};

TEST_F(TlsStoreTest, AnUnknownCertificateIsRefusedAndNotTriedAgain) {
  EXPECT_EQ(Put("https://" + endpoint_), kStoreUnreachable);
  EXPECT_NE(failure_.reason.find("certificate"), std::string::npos) << failure_.reason;
  EXPECT_EQ(Connections(), 1U);
}

TEST_F(TlsStoreTest, ATrustedCertificateIsAccepted) {
  options_.ca_file = dir_.Join("cert.pem");
  EXPECT_EQ(Put("https://" + endpoint_), kStored) << failure_.reason;
  EXPECT_EQ(Connections(), 1U);
}

TEST_F(TlsStoreTest, ATrustedCertificateOfAnotherHostIsRefusedAndNotTriedAgain) {
  options_.ca_file = dir_.Join("cert.pem");
  EXPECT_EQ(Put(LocalhostEndpoint()), kStoreUnreachable);
  EXPECT_EQ(Connections(), 1U);
}

// A name that would colour a terminal.
class HostileCertificateTest : public TlsStoreTest {
 protected:
  void SetUp() override { Serve({"-subj", "/CN=evil\x1b[31mname"}); }
};

TEST_F(HostileCertificateTest, NothingThatACertificateSaysIsInTheReason) {
  options_.ca_file = dir_.Join("cert.pem");
  EXPECT_EQ(Put(LocalhostEndpoint()), kStoreUnreachable);
  EXPECT_NE(failure_.reason.find("certificate"), std::string::npos) << failure_.reason;
  for (const char* part : {"evil", "name", "31m", "\x1b"}) {
    EXPECT_EQ(failure_.reason.find(part), std::string::npos) << failure_.reason;
  }
}

}  // namespace
}  // namespace reference_sdk
