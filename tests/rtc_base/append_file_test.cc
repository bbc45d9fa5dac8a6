#include "media_core/common/webrtc/rtc_base/append_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/small_disk.h"

namespace {

using oru_test::NextDescriptor;
using oru_test::ReadFile;
using oru_test::RunInFork;
using oru_test::SmallDisk;
using oru_test::TempDir;
using oru_test::WriteFile;
using rtc::AppendFile;

constexpr int kCreate = O_RDWR | O_CREAT | O_APPEND;

size_t Append(AppendFile* file, const std::string& text) {
  return file->Append(text.data(), text.size());
}

// A descriptor that has the file for itself.
int HoldAlone(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(flock(descriptor, LOCK_EX), 0);
  return descriptor;
}

TEST(AppendFile, IsAdoptedAlthoughAnotherHasItForItselfForAMoment) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0600));
  const int other = HoldAlone(dir.Join("f"));
  std::thread holder([other] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    close(other);
  });
  EXPECT_TRUE(file.Adopt());
  holder.join();
}

TEST(AppendFile, IsNotAdoptedWhileAnotherHasItForItself) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0600));
  const int other = HoldAlone(dir.Join("f"));
  EXPECT_FALSE(file.Adopt());
  EXPECT_EQ(Append(&file, "a line\n"), 7U);
  close(other);
}

TEST(AppendFile, GoesOnBehindWhatIsThere) {
  const TempDir dir;
  WriteFile(dir.Join("f"), "old\n");
  AppendFile file(dir.Join("f"));
  EXPECT_FALSE(file.is_open());
  ASSERT_TRUE(file.Open(kCreate, 0644));
  EXPECT_EQ(file.size(), 4u);
  EXPECT_EQ(Append(&file, "new\n"), 4u);
  EXPECT_EQ(file.size(), 8u);
  EXPECT_EQ(ReadFile(dir.Join("f")), "old\nnew\n");
}

TEST(AppendFile, ARecordThatWasCutIsClosedFirst) {
  const TempDir dir;
  WriteFile(dir.Join("f"), "cut");
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  EXPECT_EQ(Append(&file, "new\n"), 4u);
  EXPECT_EQ(Append(&file, "more\n"), 5u);
  EXPECT_EQ(ReadFile(dir.Join("f")), "cut\nnew\nmore\n");
  EXPECT_EQ(file.size(), 13u);
}

TEST(AppendFile, WhatIsTakenBackIsGone) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  Append(&file, "one\npart");
  file.TakeBack(4);
  Append(&file, "two\n");
  EXPECT_EQ(ReadFile(dir.Join("f")), "one\ntwo\n");
  EXPECT_EQ(file.size(), 8u);
}

TEST(AppendFile, NothingIsTakenBackFromBehindAnothersText) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  Append(&file, "one\npart");
  AppendFile other(dir.Join("f"));
  ASSERT_TRUE(other.Open(kCreate, 0644));
  Append(&other, "theirs\n");
  file.TakeBack(4);
  Append(&file, "two\n");
  EXPECT_EQ(ReadFile(dir.Join("f")), "one\npart\ntheirs\n\ntwo\n");
}

TEST(AppendFile, WithoutRoomEvenForTheNewlineNothingArrives) {
  const TempDir dir;
  const oru_test::ChildResult child = RunInFork([&] {
    WriteFile(dir.Join("f"), "cut");
    SmallDisk::LimitFiles(3);
    AppendFile file(dir.Join("f"));
    if (!file.Open(kCreate, 0644) || Append(&file, "lost\n") != 0) return 1;
    SmallDisk::LimitFiles(100);
    return Append(&file, "kept\n") == 5 ? 0 : 2;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(ReadFile(dir.Join("f")), "cut\nkept\n");
}

TEST(AppendFile, AClosedDescriptorIsNoticedAndTheFileOpenedAgain) {
  const TempDir dir;
  const int descriptor = NextDescriptor();
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  Append(&file, "one\n");
  close(descriptor);
  EXPECT_FALSE(file.CheckOpen());
  EXPECT_FALSE(file.is_open());
  ASSERT_TRUE(file.Reopen(O_WRONLY));
  EXPECT_TRUE(file.CheckOpen());
  Append(&file, "two\n");
  EXPECT_EQ(ReadFile(dir.Join("f")), "one\ntwo\n");
}

TEST(AppendFile, APartThatCouldNotBeTakenBackIsStillClosedAfterReopening) {
  const TempDir dir;
  const int descriptor = NextDescriptor();
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  Append(&file, "part");
  close(descriptor);
  file.TakeBack(4);
  ASSERT_FALSE(file.CheckOpen());
  // Its last byte cannot be looked at.
  ASSERT_TRUE(file.Reopen(O_WRONLY));
  Append(&file, "two\n");
  EXPECT_EQ(ReadFile(dir.Join("f")), "part\ntwo\n");
}

TEST(AppendFile, ADescriptorThatStandsForAnotherFileIsNotTouched) {
  const TempDir dir;
  const int descriptor = NextDescriptor();
  {
    AppendFile file(dir.Join("f"));
    ASSERT_TRUE(file.Open(kCreate, 0644));
    close(descriptor);
    ASSERT_EQ(open(dir.Join("other").c_str(), kCreate, 0600), descriptor);
    EXPECT_FALSE(file.CheckOpen());
  }
  EXPECT_NE(fcntl(descriptor, F_GETFD), -1) << "closed what was not its own";
  close(descriptor);
}

TEST(AppendFile, OnlyTheSameFileIsOpenedAgain) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  file.Close();
  ASSERT_EQ(rename(dir.Join("f").c_str(), dir.Join("renamed").c_str()), 0);
  EXPECT_FALSE(file.Reopen(O_WRONLY)) << "missing";
  WriteFile(dir.Join("f"), "another\n");
  EXPECT_FALSE(file.Reopen(O_WRONLY)) << "another";
  EXPECT_FALSE(file.is_open());
  ASSERT_EQ(unlink(dir.Join("f").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.Join("f").c_str(), 0600), 0);
  EXPECT_FALSE(file.Reopen(O_WRONLY)) << "a pipe without a reader";
  ASSERT_EQ(rename(dir.Join("renamed").c_str(), dir.Join("f").c_str()), 0);
  EXPECT_TRUE(file.Reopen(O_WRONLY));
}

TEST(AppendFile, ARemovedFileIsNoticed) {
  const TempDir dir;
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  EXPECT_TRUE(file.CheckOpen());
  EXPECT_FALSE(file.is_removed());
  unlink(dir.Join("f").c_str());
  EXPECT_TRUE(file.CheckOpen());
  EXPECT_TRUE(file.is_removed());
}

TEST(AppendFile, DoesNotTakeThePlaceOfAClosedStandardStream) {
  const TempDir dir;
  const oru_test::ChildResult child = RunInFork([&] {
    close(STDERR_FILENO);
    AppendFile file(dir.Join("f"));
    if (!file.Open(kCreate, 0644)) return 1;
    fputs("printed\n", stderr);
    fflush(stderr);
    return Append(&file, "one\n") == 4 ? 0 : 2;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(ReadFile(dir.Join("f")), "one\n");
}

TEST(AppendFile, IsNotInheritedByOtherPrograms) {
  const TempDir dir;
  const int descriptor = NextDescriptor();
  AppendFile file(dir.Join("f"));
  ASSERT_TRUE(file.Open(kCreate, 0644));
  EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
}

TEST(AppendFile, WhatCannotBeOpenedIsNotOpen) {
  const TempDir dir;
  AppendFile file(dir.Join("missing/f"));
  EXPECT_FALSE(file.Open(kCreate, 0644));
  EXPECT_FALSE(file.is_open());
  EXPECT_FALSE(file.CheckOpen());
  EXPECT_FALSE(file.is_removed());
}

}  // namespace
