#include "examples/reference_sdk/log_archive.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>

#include "examples/reference_sdk/deflate_pool.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

// Text that compresses like logs do, the same for the same seed.
std::string LogText(size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < size) {
    text += "[INFO] packet " + std::to_string(random() % 100000) +
            " rtt=" + std::to_string(random() % 400) + "ms\n";
  }
  text.resize(size);
  return text;
}

std::string Noise(size_t size) {
  std::mt19937 random(5);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

class LogArchiveTest : public testing::Test {
 protected:
  std::string LogPath(const std::string& name) const { return dir_.Join("logs/" + name); }

  void SetUp() override { oru_test::MakeDirs(dir_.Join("logs")); }

  // Packs what `logs` lists (lists it first if it is empty) into `name`.
  bool Pack(LogFiles* logs, const std::string& name = "out.zip", long threads = 2) {
    const ScopedFd fd(open(dir_.Join(name).c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600));
    uint64_t size = 0;
    const bool packed = PackLogs(*logs, threads, fd.get(), &size, &left_out_) == kStored;
    struct stat info {};
    if (packed && fstat(fd.get(), &info) == 0) {
      EXPECT_EQ(size, static_cast<uint64_t>(info.st_size));
    }
    return packed;
  }

  bool CollectAndPack(const std::string& name = "out.zip", long threads = 2) {
    LogFiles logs;
    return logs.Collect(dir_.Join("logs"), &left_out_) && Pack(&logs, name, threads);
  }

  // Tests the archive with an independent program and unpacks it to unpacked/.
  void Unpack() {
    const auto test = oru_test::RunChild({"/usr/bin/unzip", "-tq", dir_.Join("out.zip")});
    EXPECT_EQ(test.exit_code, 0) << test.out << test.err;
    oru_test::RemoveAll(dir_.Join("unpacked"));
    const auto unpack = oru_test::RunChild(
        {"/usr/bin/unzip", "-q", dir_.Join("out.zip"), "-d", dir_.Join("unpacked")});
    EXPECT_EQ(unpack.exit_code, 0) << unpack.out << unpack.err;
  }

  std::string Unpacked(const std::string& name) {
    return oru_test::ReadFile(dir_.Join("unpacked/" + name));
  }

  oru_test::TempDir dir_;
  LeftOutFiles left_out_;
};

TEST_F(LogArchiveTest, FilesOfAllSizesAroundAPieceComeBackWhole) {
  const size_t sizes[] = {0,      1, kPieceBytes - 1, kPieceBytes, kPieceBytes + 1, 3 * kPieceBytes,
                          5000000};
  for (const size_t size : sizes) {
    oru_test::WriteFile(LogPath(std::to_string(size)), LogText(size, 3));
  }
  ASSERT_TRUE(CollectAndPack());
  Unpack();
  for (const size_t size : sizes) {
    EXPECT_TRUE(Unpacked(std::to_string(size)) == LogText(size, 3)) << size;
  }
}

TEST_F(LogArchiveTest, DataThatCannotBeCompressedComesBackWhole) {
  const std::string noise = Noise(2 * kPieceBytes + 12345);
  oru_test::WriteFile(LogPath("noise"), noise);
  ASSERT_TRUE(CollectAndPack());
  Unpack();
  EXPECT_TRUE(Unpacked("noise") == noise);
}

TEST_F(LogArchiveTest, TheArchiveDoesNotDependOnTheNumberOfThreads) {
  for (int i = 0; i < 40; ++i) {
    oru_test::WriteFile(LogPath("f" + std::to_string(i)),
                        LogText(static_cast<size_t>(i) * 20000, 9));
  }
  ASSERT_TRUE(CollectAndPack("one.zip", 1));
  ASSERT_TRUE(CollectAndPack("four.zip", 4));
  ASSERT_TRUE(CollectAndPack("sixteen.zip", 16));
  const std::string one = oru_test::ReadFile(dir_.Join("one.zip"));
  EXPECT_GT(one.size(), 1000000U);
  EXPECT_TRUE(one == oru_test::ReadFile(dir_.Join("four.zip")));
  EXPECT_TRUE(one == oru_test::ReadFile(dir_.Join("sixteen.zip")));
}

TEST_F(LogArchiveTest, PiecesCostHardlyAnything) {
  oru_test::WriteFile(LogPath("a.log"), LogText(8000000, 1));
  ASSERT_TRUE(CollectAndPack());
  const auto zip =
      oru_test::RunChild({"/usr/bin/zip", "-q", "-6", dir_.Join("zip.zip"), LogPath("a.log")});
  ASSERT_EQ(zip.exit_code, 0);
  EXPECT_LT(static_cast<double>(oru_test::ReadFile(dir_.Join("out.zip")).size()),
            1.02 * static_cast<double>(oru_test::ReadFile(dir_.Join("zip.zip")).size()));
}

TEST_F(LogArchiveTest, AnEmptyDirectoryGivesAnArchiveWithoutEntries) {
  ASSERT_TRUE(CollectAndPack());
  const auto info = oru_test::RunChild({"/usr/bin/zipinfo", "-h", dir_.Join("out.zip")});
  EXPECT_NE(info.out.find("number of entries: 0"), std::string::npos) << info.out;
  EXPECT_EQ(oru_test::ReadFile(dir_.Join("out.zip")).size(), 22U);
}

TEST_F(LogArchiveTest, TimeAndPermissionsAreKept) {
  oru_test::WriteFile(LogPath("a.log"), "a");
  oru_test::WriteFile(LogPath("old.log"), "o");
  const utimbuf times{1700000000, 1700000000};
  const utimbuf before_the_formats_years{0, 0};
  ASSERT_EQ(utime(LogPath("a.log").c_str(), &times), 0);
  ASSERT_EQ(utime(LogPath("old.log").c_str(), &before_the_formats_years), 0);
  ASSERT_EQ(chmod(LogPath("a.log").c_str(), 0640), 0);
  ASSERT_TRUE(CollectAndPack());
  Unpack();
  struct stat info {};
  ASSERT_EQ(stat(dir_.Join("unpacked/a.log").c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, 1700000000);
  EXPECT_EQ(info.st_mode & 0777U, 0640U);
}

TEST_F(LogArchiveTest, NamesAreMarkedAsUtf8) {
  oru_test::WriteFile(LogPath("\xe4\xbd\xa0.log"), "1");
  oru_test::WriteFile(LogPath("bad\xff.log"), "2");
  ASSERT_TRUE(CollectAndPack());
  const std::string bytes = oru_test::ReadFile(dir_.Join("out.zip"));
  // Bit 11 of the flags, in the local header at offset 6.
  EXPECT_EQ(static_cast<unsigned char>(bytes[7]) & 8U, 8U);
  EXPECT_NE(bytes.find("\xe4\xbd\xa0.log"), std::string::npos);
  EXPECT_NE(bytes.find("bad%FF.log"), std::string::npos);
}

TEST_F(LogArchiveTest, AFileThatVanishesBeforeItsTurnIsLeftOut) {
  oru_test::WriteFile(LogPath("a.log"), "a");
  oru_test::WriteFile(LogPath("b.log"), "b");
  LogFiles logs;
  ASSERT_TRUE(logs.Collect(dir_.Join("logs"), &left_out_));
  unlink(LogPath("a.log").c_str());
  ASSERT_TRUE(Pack(&logs));
  Unpack();
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("unpacked")),
            std::vector<std::string>{"b.log"});
}

TEST_F(LogArchiveTest, AFileThatGrowsWhileItIsPackedIsCut) {
  oru_test::WriteFile(LogPath("a.log"), LogText(3000000, 2));
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    const ScopedFd fd(open(LogPath("a.log").c_str(), O_WRONLY | O_APPEND));
    const std::string line = LogText(4096, 8);
    // Bounded, should packing never end.
    for (int i = 0; i < 20000 && !stop; ++i)
      EXPECT_GT(write(fd.get(), line.data(), line.size()), 0);
  });
  const bool packed = CollectAndPack();
  stop = true;
  writer.join();
  ASSERT_TRUE(packed);
  Unpack();
  const std::string unpacked = Unpacked("a.log");
  EXPECT_GE(unpacked.size(), 3000000U);
  EXPECT_EQ(oru_test::ReadFile(LogPath("a.log")).compare(0, unpacked.size(), unpacked), 0);
}

TEST_F(LogArchiveTest, AFileThatIsCutAndRewrittenWhileItIsPackedDoesNotFail) {
  oru_test::WriteFile(LogPath("a.log"), LogText(4000000, 2));
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    const ScopedFd fd(open(LogPath("a.log").c_str(), O_WRONLY));
    const std::string text = LogText(4000000, 4);
    for (int i = 0; i < 1000 && !stop; ++i) {
      EXPECT_EQ(ftruncate(fd.get(), i % 7 * 300000), 0);
      EXPECT_GT(pwrite(fd.get(), text.data(), text.size(), 0), 0);
    }
  });
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(CollectAndPack());
    Unpack();
  }
  stop = true;
  writer.join();
}

TEST_F(LogArchiveTest, AFileWithHolesComesBackByteForByte) {
  // Islands of text that begin and end anywhere, holes of whole pieces and of less, one at the end.
  const std::string island = LogText(100000, 4);
  std::string whole(30 * kPieceBytes + 777, '\0');
  const ScopedFd fd(open(LogPath("holes.log").c_str(), O_WRONLY | O_CREAT, 0600));
  ASSERT_EQ(ftruncate(fd.get(), static_cast<off_t>(whole.size())), 0);
  for (const size_t at : {size_t{3} * kPieceBytes, 9 * kPieceBytes + 12345, 10 * kPieceBytes - 1,
                          20 * kPieceBytes - island.size()}) {
    ASSERT_GT(pwrite(fd.get(), island.data(), island.size(), static_cast<off_t>(at)), 0);
    whole.replace(at, island.size(), island);
  }
  // Behind text the last hole would be a log's unused tail.
  const size_t end_of_data = 25 * kPieceBytes;
  ASSERT_EQ(pwrite(fd.get(), "\x01", 1, static_cast<off_t>(end_of_data)), 1);
  whole[end_of_data] = '\x01';
  ASSERT_TRUE(CollectAndPack());
  Unpack();
  EXPECT_TRUE(Unpacked("holes.log") == whole);
}

TEST_F(LogArchiveTest, TheUnusedTailOfALogIsLeftOut) {
  oru_test::WriteFile(LogPath("a.log"), LogText(300000, 6) + std::string(1000000, '\0'));
  ASSERT_TRUE(CollectAndPack());
  Unpack();
  EXPECT_TRUE(Unpacked("a.log") == LogText(300000, 6));
}

TEST_F(LogArchiveTest, AFileLargerThanAnyLogIsLeftOut) {
  oru_test::WriteFile(LogPath("a.log"), "a");
  const ScopedFd fd(open(LogPath("b.log").c_str(), O_WRONLY | O_CREAT, 0600));
  ASSERT_EQ(ftruncate(fd.get(), static_cast<off_t>(kMaxFileBytes + 1)), 0);
  ASSERT_TRUE(CollectAndPack());
  EXPECT_FALSE(left_out_.empty());
  Unpack();
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("unpacked")),
            std::vector<std::string>{"a.log"});
}

TEST_F(LogArchiveTest, AFullDiskFails) {
  oru_test::WriteFile(LogPath("a.log"), Noise(3000000));
  LogFiles logs;
  ASSERT_TRUE(logs.Collect(dir_.Join("logs"), &left_out_));
  const ScopedFd fd(open("/dev/full", O_WRONLY));
  uint64_t size = 0;
  EXPECT_EQ(PackLogs(logs, 2, fd.get(), &size, &left_out_), kArchiveNotWritten);
}

TEST_F(LogArchiveTest, AFullDiskAtTheVeryEndFails) {
  LogFiles logs;
  ASSERT_TRUE(logs.Collect(dir_.Join("logs"), &left_out_));
  const ScopedFd fd(open("/dev/full", O_WRONLY));
  uint64_t size = 0;
  EXPECT_EQ(PackLogs(logs, 2, fd.get(), &size, &left_out_), kArchiveNotWritten);
}

TEST(DeflatePool, WithoutThreadsTheWaiterDoesTheWork) {
  DeflatePool pool(0, 6);
  DeflateJob jobs[2];
  for (DeflateJob& job : jobs) {
    job.piece_size = 1000;
    job.last = true;
    pool.Submit(&job);
  }
  for (DeflateJob& job : jobs) {
    pool.Wait(&job);
    EXPECT_TRUE(job.ok);
    EXPECT_GT(job.output_size, 0U);
  }
}

}  // namespace
}  // namespace reference_sdk
