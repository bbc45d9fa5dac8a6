// Logs that cannot be read, or not by everybody, and signals in the middle of it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "examples/reference_sdk/log_files.h"
#include "examples/reference_sdk/store_folder.h"
#include "tests/reference_sdk/command_fixture.h"
#include "tests/reference_sdk/scripted_server.h"

extern "C" char** environ;

namespace reference_sdk {
namespace {

using Strings = std::vector<std::string>;

// What a shell sees of -3.
constexpr int kExitNoLogs = 253;
constexpr uid_t kNobody = 65534;

class FaultyFilesTest : public CommandTest {
 protected:
  Strings Arrived() const { return oru_test::ListFilesRecursively(dir_.Join("store")); }

  // The entries of the one archive that arrived.
  Strings Entries() const {
    const Strings files = Arrived();
    if (files.size() != 1) return {};
    const auto listing =
        oru_test::RunChild({"/usr/bin/zipinfo", "-1", dir_.Join("store/" + files[0])});
    return oru_test::SplitLines(listing.out);
  }

  void ExpectNoArchive(const oru_test::ChildResult& run) {
    EXPECT_EQ(run.exit_code, kExitNoLogs) << run.err;
    EXPECT_EQ(Arrived(), Strings{});
  }

  // A sparse file that takes its time to read, or none to skip.
  void WriteSparse(const std::string& name, off_t size) const {
    const ScopedFd fd(open(dir_.Join("logs/" + name).c_str(), O_WRONLY | O_CREAT, 0600));
    ASSERT_EQ(ftruncate(fd.get(), size), 0);
  }

  // Runs the upload as a user who is not root: to root everything is readable.
  void BecomeNobody() {
    if (geteuid() != 0) return;
    ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
    ASSERT_EQ(chown(dir_.Join("store").c_str(), kNobody, kNobody), 0);
    options_.before = [] {
      if (setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(125);
    };
  }
};

TEST_F(FaultyFilesTest, AReadErrorInTheMiddleOfALogIsNoSuccess) {
  Preload(ORU_FILE_FAULTS);
  oru_test::WriteFile(dir_.Join("logs/failing.log"), std::string(1000000, 'x'));
  ExpectNoArchive(Upload(Folder()));
}

TEST_F(FaultyFilesTest, WithoutFreeDescriptorsThereIsNoEmptyArchive) {
  oru_test::MakeDirs(dir_.Join("logs/a/b"));
  oru_test::WriteFile(dir_.Join("logs/a/b/c.log"), "c");
  int failures = 0;
  for (rlim_t limit = 4; limit < 40; ++limit) {
    options_.before = [limit] {
      const rlimit files{limit, limit};
      setrlimit(RLIMIT_NOFILE, &files);
    };
    const auto run = Upload(Folder());
    // With too few the framework does not even load; with enough, all is there.
    if (run.err.find("uploadLogPrivate return: 0") != std::string::npos) {
      EXPECT_EQ(Entries(), (Strings{"a.log", "a/b/c.log"})) << "limit " << limit;
      break;
    }
    // A sanitizer's check of an object's type takes descriptors, too, and is wrong without.
    if (run.err.find("object has invalid vptr") != std::string::npos) {
      oru_test::RemoveAll(dir_.Join("store/bucket"));
      continue;
    }
    if (run.exit_code == kExitNoLogs) ++failures;
    EXPECT_EQ(Arrived(), Strings{}) << "limit " << limit << ", " << run.Ending() << "\n" << run.err;
  }
  EXPECT_GT(failures, 0);
}

TEST_F(FaultyFilesTest, WhatMayNotBeReadIsLeftOutAndSaid) {
  BecomeNobody();
  oru_test::WriteFile(dir_.Join("logs/mine\n.log"), "m");
  oru_test::MakeDirs(dir_.Join("logs/folder"));
  oru_test::WriteFile(dir_.Join("logs/folder/x.log"), "x");
  ASSERT_EQ(chmod(dir_.Join("logs/mine\n.log").c_str(), 0), 0);
  ASSERT_EQ(chmod(dir_.Join("logs/folder").c_str(), 0), 0);
  const auto run = Upload(Folder());
  ASSERT_EQ(chmod(dir_.Join("logs/folder").c_str(), 0700), 0);
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(SdkLines(run), (Strings{"OruRTCSdk: left out folder: Permission denied",
                                    "OruRTCSdk: left out mine%0A.log: Permission denied"}));
  EXPECT_EQ(Entries(), Strings{"a.log"});
}

TEST_F(FaultyFilesTest, ManyFilesThatAreLeftOutAreCounted) {
  BecomeNobody();
  for (int i = 0; i < 30; ++i) {
    const std::string path = dir_.Join("logs/m" + std::to_string(i));
    oru_test::WriteFile(path, "m");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
  }
  const Strings lines = SdkLines(Upload(Folder()));
  ASSERT_EQ(lines.size(), 21U);
  EXPECT_EQ(lines[20], "OruRTCSdk: left out 10 more");
}

TEST_F(FaultyFilesTest, AnArchiveInAFolderIsForItsOwnerAlone) {
  options_.before = [] { umask(0); };
  ASSERT_EQ(Upload("file://" + dir_.Join("store/new/deep")).exit_code, 0);
  const Strings files = Arrived();
  ASSERT_EQ(files.size(), 1U);
  struct stat info {};
  ASSERT_EQ(stat(dir_.Join("store/" + files[0]).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777U, 0600U);
  for (const char* folder : {"new", "new/deep", "new/deep/bucket", "new/deep/bucket/app"}) {
    ASSERT_EQ(stat(dir_.Join(std::string("store/") + folder).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0700U) << folder;
  }
}

TEST_F(FaultyFilesTest, ABucketThatIsSomebodyElsesLinkIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make somebody else's link";
  oru_test::MakeDirs(dir_.Join("elsewhere"));
  const std::string link = dir_.Join("store/bucket");
  ASSERT_EQ(symlink("../elsewhere", link.c_str()), 0);
  EXPECT_EQ(Upload(Folder()).exit_code, 0) << "a link of one's own is followed";
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("elsewhere")).size(), 1U);
  ASSERT_EQ(lchown(link.c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(Upload(Folder()).exit_code, 252);
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("elsewhere")).size(), 1U);
}

TEST_F(FaultyFilesTest, ASparseFileOfTwoHundredGigabytesTakesSeconds) {
  ASSERT_NO_FATAL_FAILURE(WriteSparse("sparse.log", off_t{200} << 30));
  options_.timeout_s = 100;
  const auto run = Upload(Folder());
  EXPECT_EQ(run.exit_code, 0) << run.err.substr(0, 2000);
  EXPECT_EQ(Entries(), (Strings{"a.log", "sparse.log"}));
}

TEST_F(FaultyFilesTest, APartThatAKilledUploadLeftGoesWithTheNextOne) {
  ASSERT_EQ(Upload(Folder()).exit_code, 0);
  const std::string folder = dir_.Join("store/bucket/app");
  oru_test::WriteFile(folder + "/20260102T030405Z-0000000000000000.zip.part", "left");
  // One that is still written to, and what is not an upload's.
  const std::string busy = folder + "/20260102T030405Z-0000000000000001.zip.part";
  oru_test::WriteFile(busy, "busy");
  oru_test::WriteFile(folder + "/notes.part", "mine");
  const ScopedFd writer(open(busy.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
  ASSERT_EQ(Upload(Folder()).exit_code, 0);
  Strings left;
  for (const std::string& name : oru_test::ListDir(folder)) {
    if (name.find(".part") != std::string::npos) left.push_back(name);
  }
  EXPECT_EQ(left, (Strings{"20260102T030405Z-0000000000000001.zip.part", "notes.part"}));
}

TEST(MayFollowLink, IsForTheUsersOwnAndTheSystems) {
  struct stat link {};
  for (const uid_t owner : {0U, 1000U}) {
    link.st_uid = owner;
    EXPECT_TRUE(MayFollowLink(link, 1000)) << owner;
  }
  link.st_uid = 1001;
  EXPECT_FALSE(MayFollowLink(link, 1000));
  EXPECT_FALSE(MayFollowLink(link, 0));
}

// An upload that is in the middle of packing ...
class InterruptedTest : public FaultyFilesTest {
 protected:
  // Between fork and exec nothing is allocated: another thread may have held the heap's lock.
  pid_t Start(const std::string& endpoint) {
    const Strings command = UploadCommand(endpoint);
    Strings environment;
    for (const auto& variable : options_.env) {
      environment.push_back(variable.first + "=" + variable.second);
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
      environment.emplace_back(*variable);
    }
    const std::vector<char*> argv = Pointers(command);
    const std::vector<char*> envp = Pointers(environment);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int quiet = open("/dev/null", O_WRONLY);
    dup2(quiet, STDERR_FILENO);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }

  static std::vector<char*> Pointers(const Strings& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
  }

  bool WaitForPart() const {
    for (int i = 0; i < 10000; ++i) {
      for (const std::string& file : Arrived()) {
        if (file.find(".part") != std::string::npos) return true;
      }
      usleep(3000);
    }
    return false;
  }
};

TEST_F(InterruptedTest, ASignalToEndLeavesNothingBehind) {
  // More than is packed in the time that it takes to send a signal.
  ASSERT_NO_FATAL_FAILURE(WriteSparse("sparse.log", off_t{1000} << 30));
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    const pid_t pid = Start(Folder());
    EXPECT_TRUE(WaitForPart());
    kill(pid, signal);
    int ending = 0;
    waitpid(pid, &ending, 0);
    EXPECT_TRUE(WIFSIGNALED(ending)) << ending;
    EXPECT_EQ(WTERMSIG(ending), signal);
    EXPECT_EQ(Arrived(), Strings{});
  }
}

TEST_F(InterruptedTest, ASignalToEndHasTheStoreForgetTheParts) {
  std::mt19937 random(11);
  std::string noise(7000000, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  oru_test::WriteFile(dir_.Join("logs/noise.log"), noise);
  options_.env["ORU_SDK_SINGLE_PUT_MIB"] = "5";
  options_.env["ORU_SDK_PART_MIB"] = "5";
  options_.env["ORU_SDK_STALL_TIMEOUT_S"] = "60";
  ScriptedAnswer begun;
  const std::string id = "<R><UploadId>the-id</UploadId></R>";
  begun.raw = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(id.size()) +
              "\r\nConnection: close\r\n\r\n" + id;
  // A part that would take seconds. What is on its way when the upload stops is read at that speed,
  // too.
  ScriptedAnswer slow;
  slow.body_bytes_per_s = 1000000;
  ScriptedServer server({begun, slow, {204}});
  const pid_t pid = Start(server.endpoint());
  for (int i = 0; i < 10000 && server.requests().empty(); ++i) usleep(3000);
  kill(pid, SIGTERM);
  int ending = 0;
  waitpid(pid, &ending, 0);
  EXPECT_TRUE(WIFSIGNALED(ending)) << ending;
  const auto requests = server.requests();
  ASSERT_GE(requests.size(), 2U);
  EXPECT_NE(requests.back().head.find("uploadId=the-id HTTP/1.1"), std::string::npos);
  EXPECT_EQ(requests.back().head.find("DELETE "), 0U) << requests.back().head;
}

}  // namespace
}  // namespace reference_sdk
