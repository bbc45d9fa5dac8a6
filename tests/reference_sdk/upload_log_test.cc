#include "examples/reference_sdk/upload_log.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "examples/reference_sdk/log_files.h"
#include "examples/reference_sdk/upload_status.h"
#include "tests/reference_sdk/scripted_server.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"

namespace reference_sdk {
namespace {

class UploadLogTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("no_proxy", "*", 1);
    setenv("ORU_SDK_RETRY_PAUSE_MS", "1", 1);
    setenv("TMPDIR", dir_.Join("temp").c_str(), 1);
    for (const char* name : {"temp", "logs", "store"}) oru_test::MakeDirs(dir_.Join(name));
    oru_test::WriteFile(dir_.Join("logs/a.log"), "some log");
  }

  // The status as the system would see it is the low byte; here it is whole.
  int32_t Upload(const std::string& endpoint, const std::string& bucket = "bucket") {
    return UploadLog("app", "the-key-id", "the-secret", "the-token", endpoint.c_str(),
                     bucket.c_str(), dir_.Join("logs").c_str());
  }

  std::string Folder() const { return "file://" + dir_.Join("store"); }

  // In a child, with the limit on the size of files that stands for a full disk.
  oru_test::ChildResult UploadWithFileLimit(const std::string& endpoint, rlim_t limit) {
    return oru_test::RunInFork([&] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit sizes{limit, limit};
      setrlimit(RLIMIT_FSIZE, &sizes);
      return -Upload(endpoint);
    });
  }

  void WriteNoise() {
    std::mt19937 random(3);
    std::string noise(2000000, '\0');
    for (char& byte : noise) byte = static_cast<char>(random());
    oru_test::WriteFile(dir_.Join("logs/noise.log"), noise);
  }

  oru_test::TempDir dir_;
};

TEST_F(UploadLogTest, AFolderGetsTheArchiveUnderBucketAndKey) {
  ASSERT_EQ(Upload(Folder()), kStored);
  const auto files = oru_test::ListFilesRecursively(dir_.Join("store"));
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].find("bucket/app/"), 0U) << files[0];
  const auto content =
      oru_test::RunChild({"/usr/bin/unzip", "-p", dir_.Join("store/" + files[0]), "a.log"});
  EXPECT_EQ(content.out, "some log");
}

TEST_F(UploadLogTest, AFolderThatDoesNotExistIsCreated) {
  EXPECT_EQ(Upload("file://" + dir_.Join("store/new/deep")), kStored);
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("store/new/deep")).size(), 1U);
}

TEST_F(UploadLogTest, TwoUploadsDoNotMeet) {
  EXPECT_EQ(Upload(Folder()), kStored);
  EXPECT_EQ(Upload(Folder()), kStored);
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("store")).size(), 2U);
}

TEST_F(UploadLogTest, AStoreInsideTheLogDirectoryDoesNotPackItself) {
  EXPECT_EQ(Upload("file://" + dir_.Join("logs")), kStored);
  const auto archives = oru_test::ListFilesRecursively(dir_.Join("logs/bucket"));
  ASSERT_EQ(archives.size(), 1U);
  const auto listing =
      oru_test::RunChild({"/usr/bin/zipinfo", "-1", dir_.Join("logs/bucket/" + archives[0])});
  EXPECT_EQ(listing.out, "a.log\n");
}

TEST_F(UploadLogTest, MissingTargetsAndLogsHaveTheirStatuses) {
  EXPECT_EQ(Upload(""), kNoTarget);
  EXPECT_EQ(Upload(Folder(), ""), kNoTarget);
  EXPECT_EQ(Upload("gopher://x"), kUnknownScheme);
  oru_test::RemoveAll(dir_.Join("logs"));
  EXPECT_EQ(Upload(Folder()), kNoLogs);
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir_.Join("store")).empty());
}

TEST_F(UploadLogTest, NullPointersCountAsEmpty) {
  EXPECT_EQ(UploadLog(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), kNoTarget);
}

TEST_F(UploadLogTest, AFullDiskInTheStoreFolderLeavesNothingThere) {
  WriteNoise();
  EXPECT_EQ(UploadWithFileLimit(Folder(), 500000).exit_code, -kArchiveNotWritten);
  EXPECT_TRUE(oru_test::ListFilesRecursively(dir_.Join("store")).empty());
}

TEST_F(UploadLogTest, AFullDiskInTheTempFolderLeavesNothingThere) {
  WriteNoise();
  EXPECT_EQ(UploadWithFileLimit("http://127.0.0.1:9", 500000).exit_code, -kArchiveNotWritten);
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
}

TEST_F(UploadLogTest, AMissingTempFolderMeansNoArchive) {
  setenv("TMPDIR", dir_.Join("nowhere").c_str(), 1);
  EXPECT_EQ(Upload("http://127.0.0.1:9"), kArchiveNotWritten);
}

TEST_F(UploadLogTest, AStoreFolderThatIsAFileMeansNoArchive) {
  oru_test::WriteFile(dir_.Join("store/bucket"), "in the way");
  EXPECT_EQ(Upload(Folder()), kArchiveNotWritten);
}

TEST_F(UploadLogTest, NothingIsLeftInTheTempFolderWhateverTheStoreSays) {
  for (const int status : {200, 403, 500, 0}) {
    ScriptedServer server({{status}});
    Upload(server.endpoint());
    EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty()) << status;
  }
  ScriptedAnswer garbage;
  garbage.raw = "no answer at all\r\n\r\n";
  ScriptedServer server({garbage});
  EXPECT_EQ(Upload(server.endpoint()), kStoreUnreachable);
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
}

TEST_F(UploadLogTest, AKilledProcessLeavesNothingInTheTempFolder) {
  // No server thread here: a child of a threaded process must not start threads of its own.
  const ScopedFd listener(oru_test::MakeSocket(AF_INET, SOCK_STREAM));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(listen(listener.get(), 1), 0);
  getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length);
  const std::string endpoint = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  const pid_t pid = fork();
  if (pid == 0) _exit(Upload(endpoint) == 0 ? 0 : 1);
  // The request is there, so the archive is made and its transfer has begun.
  const ScopedFd connection(accept(listener.get(), nullptr, nullptr));
  char byte = 0;
  EXPECT_EQ(read(connection.get(), &byte, 1), 1);
  kill(pid, SIGKILL);
  int ending = 0;
  waitpid(pid, &ending, 0);
  EXPECT_TRUE(WIFSIGNALED(ending));
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
}

TEST_F(UploadLogTest, AFailureIsOneLineWithoutCredentials) {
  for (const int status : {403, 500, 0}) {
    ScriptedServer server({{status}});
    testing::internal::CaptureStderr();
    Upload(server.endpoint());
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(oru_test::SplitLines(text).size(), 1U) << text;
    EXPECT_EQ(text.find("OruRTCSdk: upload failed: "), 0U) << text;
    for (const char* secret : {"the-key-id", "the-secret", "the-token"}) {
      EXPECT_EQ(text.find(secret), std::string::npos) << text;
    }
  }
}

TEST_F(UploadLogTest, ASuccessIsSilentWhenNobodyWatches) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(Upload(Folder()), kStored);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// What the function prints when standard error is a terminal.
std::string OnTerminal(const std::function<void()>& body) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_EQ(grantpt(master), 0);
  EXPECT_EQ(unlockpt(master), 0);
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  const int before = dup(STDERR_FILENO);
  dup2(terminal, STDERR_FILENO);
  body();
  dup2(before, STDERR_FILENO);
  close(before);
  // What was written is on its way for a while; behind its end comes an error, the terminal being
  // closed.
  close(terminal);
  std::string text;
  char buffer[8192];
  for (ssize_t got; (got = read(master, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<size_t>(got));
  }
  close(master);
  return text;
}

TEST_F(UploadLogTest, ATerminalSeesOneLineATenth) {
  WriteNoise();
  const std::string text = OnTerminal([&] { EXPECT_EQ(Upload(Folder()), kStored); });
  const auto lines = oru_test::SplitLines(text);
  ASSERT_EQ(lines.size(), 10U) << text;
  EXPECT_EQ(lines[0].find("OruRTCSdk: packed 10%"), 0U) << text;
  EXPECT_EQ(lines[9].find("OruRTCSdk: packed 100%"), 0U) << text;
}

TEST_F(UploadLogTest, ATerminalSeesTheTransferTooAndEveryTenthOnce) {
  WriteNoise();
  ScriptedServer server({{500}, {200}});
  const std::string text = OnTerminal([&] { EXPECT_EQ(Upload(server.endpoint()), kStored); });
  const auto lines = oru_test::SplitLines(text);
  ASSERT_EQ(lines.size(), 20U) << text;
  EXPECT_EQ(lines[19].find("OruRTCSdk: sent 100%"), 0U) << text;
}

}  // namespace
}  // namespace reference_sdk
