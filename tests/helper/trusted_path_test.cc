#include "helper/trusted_path.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/support/files.h"

namespace oru_test {
namespace {

constexpr TrustedOwners kOwners = {1000, 2000};

bool MayBeChangedOnlyByTrusted(uid_t owner, gid_t group, mode_t mode) {
  struct stat info {};
  info.st_uid = owner;
  info.st_gid = group;
  info.st_mode = mode;
  return OnlyTrustedMayChange(info, kOwners);
}

TEST(TrustedPath, RootTheCallerAndTheProgramsOwnerAreTrusted) {
  for (const uid_t owner : {0U, 1000U, 2000U}) {
    EXPECT_TRUE(MayBeChangedOnlyByTrusted(owner, 5, S_IFREG | 0755)) << owner;
  }
  EXPECT_FALSE(MayBeChangedOnlyByTrusted(1001, 5, S_IFREG | 0755));
}

TEST(TrustedPath, WhatAGroupOrEverybodyMayWriteToIsNot) {
  EXPECT_FALSE(MayBeChangedOnlyByTrusted(0, 5, S_IFDIR | 0777));
  EXPECT_FALSE(MayBeChangedOnlyByTrusted(0, 5, S_IFREG | 0757));
  EXPECT_FALSE(MayBeChangedOnlyByTrusted(1000, 1000, S_IFREG | 0775));
  EXPECT_TRUE(MayBeChangedOnlyByTrusted(0, 0, S_IFREG | 0775));
}

TEST(TrustedPath, ASharedFolderWhereOnlyOwnersRemoveIs) {
  EXPECT_TRUE(MayBeChangedOnlyByTrusted(0, 0, S_IFDIR | 01777));
  EXPECT_FALSE(MayBeChangedOnlyByTrusted(0, 0, S_IFREG | 01777));
}

TEST(TrustedPath, TheFirstChangeableFolderIsNamed) {
  const TempDir dir;
  const TrustedOwners owners = {getuid(), getuid()};
  MakeDirs(dir.Join("a/b"));
  WriteFile(dir.Join("a/b/file"), "");
  EXPECT_EQ(FirstChangeablePart(dir.Join("a/b/file"), "", owners), "");
  ASSERT_EQ(chmod(dir.Join("a").c_str(), 0777), 0);
  EXPECT_EQ(FirstChangeablePart(dir.Join("a/b/file"), "", owners), dir.Join("a"));
}

TEST(TrustedPath, AFolderThatALinkLeadsThroughIsLookedAtToo) {
  const TempDir dir;
  const TrustedOwners owners = {getuid(), getuid()};
  MakeDirs(dir.Join("open/b"));
  WriteFile(dir.Join("open/b/file"), "");
  ASSERT_EQ(chmod(dir.Join("open").c_str(), 0777), 0);
  ASSERT_EQ(symlink("open/b", dir.Join("link").c_str()), 0);
  EXPECT_EQ(FirstChangeablePart(dir.Join("link/file"), "", owners), dir.Join("open"));
}

TEST(TrustedPath, FoldersOfTheProgramItselfArePassedOver) {
  const TempDir dir;
  const TrustedOwners owners = {getuid(), getuid()};
  MakeDirs(dir.Join("app/lib"));
  ASSERT_EQ(chmod(dir.Join("app").c_str(), 0777), 0);
  EXPECT_EQ(FirstChangeablePart(dir.Join("app/lib"), dir.Join("app/bin/command"), owners), "");
  EXPECT_EQ(FirstChangeablePart(dir.Join("app/lib"), dir.Join("application"), owners),
            dir.Join("app"));
}

TEST(TrustedPath, WhatDoesNotExistIsNotTrusted) {
  const TempDir dir;
  EXPECT_EQ(FirstChangeablePart(dir.Join("gone"), "", {getuid(), getuid()}), dir.Join("gone"));
}

}  // namespace
}  // namespace oru_test
