// The built command with the built framework, against a real store.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "tests/reference_sdk/object_store.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace reference_sdk {
namespace {

// What a shell sees of -5 and -6.
constexpr int kExitUnreachable = 251;
constexpr int kExitRefused = 250;

class StoreTest : public testing::Test {
 protected:
  void SetUp() override {
    oru_test::MakeDirs(dir_.Join("logs"));
    oru_test::MakeDirs(dir_.Join("temp"));
    store_.Command({"bucket", "logs"});
  }

  oru_test::ChildResult Upload(const std::string& secret, const std::string& bucket = "logs") {
    oru_test::ChildOptions options;
    options.timeout_s = 150;
    options.env = {{"TMPDIR", dir_.Join("temp")},
                   {"no_proxy", "*"},
                   {"ORU_SDK_RETRY_PAUSE_MS", "50"},
                   {"ORU_SDK_STALL_TIMEOUT_S", "2"}};
    for (const auto& variable : more_env_) options.env.insert(variable);
    return oru_test::RunChild(
        {ORU_VARNOOK, "-action", "uploadLog", "-libp", ORU_FRAMEWORKS, "-apid", "demo", "-akid",
         store_.access_key(), "-akscrt", secret, "-sectkn", "to/ken+==", "-edpt", store_.endpoint(),
         "-bukt", bucket, "-logp", dir_.Join("logs")},
        options);
  }

  oru_test::ChildResult Upload() { return Upload(store_.secret_key()); }

  // Bytes that cannot be compressed, so that the transfer takes its time.
  void WriteNoise(int megabytes) {
    std::mt19937_64 random(17);
    std::string noise(1000000, '\0');
    for (int i = 0; i < megabytes; ++i) {
      for (size_t at = 0; at + 8 <= noise.size(); at += 8) {
        const uint64_t number = random();
        noise.replace(at, 8, reinterpret_cast<const char*>(&number), 8);
      }
      oru_test::WriteFile(dir_.Join("logs/" + std::to_string(i)), noise);
    }
  }

  // Waits until a good part of an object has arrived.
  bool WaitForTransfer() {
    const uint64_t before = store_.ObjectBytesWritten();
    for (int i = 0; i < 12000; ++i) {
      if (store_.ObjectBytesWritten() > before + 3000000) return true;
      usleep(5000);
    }
    return false;
  }

  void ExpectUnpacksToTheLogs(const std::string& archive) const {
    oru_test::ChildOptions options;
    options.timeout_s = 100;
    const auto unzip =
        oru_test::RunChild({"/usr/bin/unzip", "-q", archive, "-d", dir_.Join("unpacked")}, options);
    EXPECT_EQ(unzip.exit_code, 0) << unzip.err;
    const auto diff = oru_test::RunChild(
        {"/usr/bin/diff", "-r", dir_.Join("logs"), dir_.Join("unpacked")}, options);
    EXPECT_EQ(diff.exit_code, 0) << diff.out;
  }

  oru_test::TempDir dir_;
  ObjectStore store_;
  std::map<std::string, std::string> more_env_;
};

TEST_F(StoreTest, TwoHundredMegabytesInTwoThousandFilesComeBackByteForByte) {
  std::mt19937 random(42);
  std::vector<std::string> lines;
  lines.reserve(5000);
  for (int i = 0; i < 5000; ++i) {
    lines.push_back("[INFO][rtc.engine] ssrc=" + std::to_string(random()) +
                    " seq=" + std::to_string(random() % 65536) +
                    " rtt=" + std::to_string(random() % 400) + "ms\n");
  }
  for (int i = 0; i < 2000; ++i) {
    const std::string folder = dir_.Join("logs/" + std::to_string(i % 20));
    oru_test::MakeDirs(folder);
    std::string text;
    while (text.size() < 100000) text += lines[random() % lines.size()];
    oru_test::WriteFile(folder + "/" + std::to_string(i) + ".log", text);
  }
  const auto upload = Upload();
  ASSERT_EQ(upload.exit_code, 0) << upload.err;
  EXPECT_NE(upload.err.find("varnook upload_log return:0"), std::string::npos) << upload.err;
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());

  const auto keys = oru_test::SplitLines(store_.Command({"list", "logs"}));
  ASSERT_EQ(keys.size(), 1U);
  EXPECT_EQ(keys[0].find("demo/"), 0U) << keys[0];
  store_.Command({"get", "logs/" + keys[0], dir_.Join("got.zip")});
  ExpectUnpacksToTheLogs(dir_.Join("got.zip"));
  EXPECT_EQ(oru_test::ListFilesRecursively(dir_.Join("unpacked")).size(), 2000U);
}

TEST_F(StoreTest, AnArchiveInPartsComesBackByteForByte) {
  WriteNoise(30);
  more_env_ = {{"ORU_SDK_SINGLE_PUT_MIB", "5"}, {"ORU_SDK_PART_MIB", "5"}};
  const auto upload = Upload();
  ASSERT_EQ(upload.exit_code, 0) << upload.err;
  const auto keys = oru_test::SplitLines(store_.Command({"list", "logs"}));
  ASSERT_EQ(keys.size(), 1U);
  store_.Command({"get", "logs/" + keys[0], dir_.Join("got.zip")});
  ExpectUnpacksToTheLogs(dir_.Join("got.zip"));
}

TEST_F(StoreTest, ASparseLogOfSixGigabytesArrivesInParts) {
  const std::string log = dir_.Join("logs/sparse.log");
  oru_test::WriteFile(log, "");
  ASSERT_EQ(truncate(log.c_str(), off_t{6} << 30), 0);
  more_env_ = {{"ORU_SDK_SINGLE_PUT_MIB", "5"}, {"ORU_SDK_PART_MIB", "5"}};
  const auto upload = Upload();
  ASSERT_EQ(upload.exit_code, 0) << upload.err;
  const auto keys = oru_test::SplitLines(store_.Command({"list", "logs"}));
  ASSERT_EQ(keys.size(), 1U);
  store_.Command({"get", "logs/" + keys[0], dir_.Join("got.zip")});
  const auto listing = oru_test::RunChild({"/usr/bin/unzip", "-l", dir_.Join("got.zip")});
  EXPECT_NE(listing.out.find("6442450944 "), std::string::npos) << listing.out;
}

TEST_F(StoreTest, AWrongSecretAndAMissingBucketAreRefused) {
  oru_test::WriteFile(dir_.Join("logs/a.log"), "a");
  const auto wrong = Upload("wrong-" + store_.secret_key());
  EXPECT_EQ(wrong.exit_code, kExitRefused) << wrong.err;
  EXPECT_NE(wrong.err.find("varnook upload_log return:-6"), std::string::npos) << wrong.err;
  EXPECT_NE(wrong.err.find("HTTP 403"), std::string::npos) << wrong.err;
  const auto missing = Upload(store_.secret_key(), "no-such-bucket");
  EXPECT_EQ(missing.exit_code, kExitRefused) << missing.err;
  EXPECT_NE(missing.err.find("HTTP 404"), std::string::npos) << missing.err;
  EXPECT_EQ(store_.Command({"list", "logs"}), "");
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
}

TEST_F(StoreTest, AStoreKilledInMidUploadIsUnreachableWithinABound) {
  WriteNoise(100);
  bool transfer_seen = false;
  std::thread killer([&] {
    transfer_seen = WaitForTransfer();
    store_.Crash();
  });
  const auto start = std::chrono::steady_clock::now();
  const auto upload = Upload();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  killer.join();
  EXPECT_TRUE(transfer_seen);
  EXPECT_EQ(upload.exit_code, kExitUnreachable) << upload.err;
  EXPECT_LT(elapsed.count(), 60);
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
  // Now that it is down, another upload fails at once.
  EXPECT_EQ(Upload().exit_code, kExitUnreachable);
}

TEST_F(StoreTest, AFrozenStoreIsUnreachableWithinABound) {
  oru_test::WriteFile(dir_.Join("logs/a.log"), "a");
  store_.Command({"freeze"});
  const auto start = std::chrono::steady_clock::now();
  const auto upload = Upload();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(upload.exit_code, kExitUnreachable) << upload.err;
  EXPECT_GT(elapsed.count(), 3 * 2 - 1);
  EXPECT_LT(elapsed.count(), 60);
  EXPECT_TRUE(oru_test::ListDir(dir_.Join("temp")).empty());
}

}  // namespace
}  // namespace reference_sdk
