#include "tests/reference_sdk/object_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

namespace reference_sdk {
namespace {

// The text after `name`= at the start of a line.
std::string Setting(const std::string& text, const std::string& name) {
  for (const std::string& line : oru_test::SplitLines(text)) {
    if (line.compare(0, name.size() + 1, name + "=") == 0) return line.substr(name.size() + 1);
  }
  return "";
}

}  // namespace

ObjectStore::ObjectStore() {
  // In the build folder: the store needs extended attributes, which /tmp may not have.
  std::string path = std::string(ORU_SCRATCH) + "/store.XXXXXX";
  EXPECT_NE(mkdtemp(path.data()), nullptr);
  work_dir_ = path;
  int in[2];
  int out[2];
  EXPECT_EQ(oru_test::MakePipe(in), 0);
  EXPECT_EQ(oru_test::MakePipe(out), 0);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    execl(ORU_OBJECT_STORE, ORU_OBJECT_STORE, "run", work_dir_.c_str(), nullptr);
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  stdin_ = in[1];
  ReadSettings(out[0]);
  close(out[0]);
}

ObjectStore::~ObjectStore() {
  close(stdin_);
  waitpid(pid_, nullptr, 0);
  oru_test::RemoveAll(work_dir_);
}

void ObjectStore::ReadSettings(int fd) {
  std::string text;
  char buffer[4096];
  while (text.find("\nready\n") == std::string::npos) {
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got <= 0) break;
    text.append(buffer, static_cast<size_t>(got));
  }
  endpoint_ = Setting(text, "S3_ENDPOINT");
  access_key_ = Setting(text, "S3_ACCESS_KEY");
  secret_key_ = Setting(text, "S3_SECRET_KEY");
  EXPECT_NE(endpoint_, "") << "the store did not start: " << text;
}

pid_t ObjectStore::ServerPid(const std::string& name) const {
  return atoi(oru_test::ReadFile(work_dir_ + "/run/" + name + ".pid").c_str());
}

uint64_t ObjectStore::ObjectBytesWritten() const {
  const std::string io = oru_test::ReadFile("/proc/" + std::to_string(ServerPid("object")) + "/io");
  const size_t at = io.find("wchar: ");
  return at == std::string::npos ? 0 : strtoull(io.c_str() + at + 7, nullptr, 10);
}

void ObjectStore::Crash() {
  for (const char* name : {"proxy", "object", "container", "account", "memcached"}) {
    const pid_t pid = ServerPid(name);
    if (pid > 0) kill(pid, SIGKILL);
  }
}

std::string ObjectStore::Command(const std::vector<std::string>& arguments) {
  std::vector<std::string> argv = {ORU_OBJECT_STORE, arguments.at(0), work_dir_};
  argv.insert(argv.end(), arguments.begin() + 1, arguments.end());
  oru_test::ChildOptions options;
  options.timeout_s = 60;
  const auto result = oru_test::RunChild(argv, options);
  EXPECT_EQ(result.exit_code, 0) << arguments[0] << ": " << result.err;
  return result.out;
}

}  // namespace reference_sdk
