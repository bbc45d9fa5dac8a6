#include "tests/reference_sdk/tls_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

namespace reference_sdk {

void MakeCertificate(const std::string& folder, const std::string& name,
                     const std::vector<std::string>& whose) {
  const std::string path = folder + "/" + name;
  std::vector<std::string> command = {"/usr/bin/openssl",
                                      "req",
                                      "-x509",
                                      "-newkey",
                                      "ec",
                                      "-pkeyopt",
                                      "ec_paramgen_curve:P-256",
                                      "-nodes",
                                      "-keyout",
                                      path + ".key",
                                      "-out",
                                      path + ".pem",
                                      "-days",
                                      "2"};
  command.insert(command.end(), whose.begin(), whose.end());
  const auto made = oru_test::RunChild(command);
  EXPECT_EQ(made.exit_code, 0) << made.err;
}

TlsStore::TlsStore(const std::string& folder, const std::string& name, const std::string& newest)
    : connections_(folder + "/connections") {
  const std::string both = folder + "/" + name + ".both";
  oru_test::WriteFile(both, oru_test::ReadFile(folder + "/" + name + ".key") +
                                oru_test::ReadFile(folder + "/" + name + ".pem"));
  oru_test::WriteFile(connections_, "");
  int ends[2] = {-1, -1};
  EXPECT_EQ(oru_test::MakePipe(ends), 0);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(ends[1], STDOUT_FILENO);
    // The whole path: Python looks for its library beside what it is called by.
    execl("/usr/bin/python3", "/usr/bin/python3", "-Wignore", ORU_TLS_SERVER, both.c_str(),
          connections_.c_str(), newest.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  // The number and the line's end may come apart; the pipe stays open until both are here.
  char byte = 0;
  while (read(ends[0], &byte, 1) == 1 && byte != '\n') port_ += byte;
  close(ends[0]);
  EXPECT_NE(port_, "");
}

TlsStore::~TlsStore() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

size_t TlsStore::Connections() const { return oru_test::ReadFile(connections_).size(); }

}  // namespace reference_sdk
