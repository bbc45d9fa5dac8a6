#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

#include <gtest/gtest.h>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"

namespace CrashHandler::machine {
namespace {

constexpr char kUuid[] = "C0FFEE00-1234-5678-9ABC-DEF012345678";

TEST(ImageLineTest, A64BitImageShowsArm64WhateverTheProcessor) {
  EXPECT_EQ(ImageLine({0x7f0012340000, 0x7f0012345fff, true, kUuid, "/usr/lib/libx.so"}),
            "    0x7f0012340000 -     0x7f0012345fff  libx.so arm64  "
            "<c0ffee00123456789abcdef012345678> /usr/lib/libx.so\n");
}

TEST(ImageLineTest, A32BitImageShowsArmv7InNarrowColumns) {
  EXPECT_EQ(ImageLine({0x8000, 0x9fff, false, kUuid, "/x/y"}),
            "    0x8000 -     0x9fff  y armv7  <c0ffee00123456789abcdef012345678> /x/y\n");
}

TEST(ImageLineTest, AMissingPathIsEmptyTwice) {
  EXPECT_EQ(ImageLine({0x8000, 0x9fff, false, "", nullptr}),
            "    0x8000 -     0x9fff   armv7  <> \n");
}

TEST(ImageLineTest, APathWithoutSlashIsItsOwnName) {
  EXPECT_EQ(ImageLine({0x8000, 0x9fff, false, "", "vdso"}),
            "    0x8000 -     0x9fff  vdso armv7  <> vdso\n");
}

TEST(ImageLineTest, APathThatEndsInASlashHasAnEmptyName) {
  EXPECT_EQ(ImageLine({0x8000, 0x9fff, false, "", "/a/"}),
            "    0x8000 -     0x9fff   armv7  <> /a/\n");
}

TEST(ImageLineTest, AddressesWiderThanTheColumnAreNotCut) {
  EXPECT_EQ(ImageLine({0xffffffffffffffff, 0xffffffffffffffff, true, "", ""}),
            "0xffffffffffffffff - 0xffffffffffffffff   arm64  <> \n");
  EXPECT_EQ(ImageLine({0x123456789abc, 0x123456789abc, false, "", ""}),
            "0x123456789abc - 0x123456789abc   armv7  <> \n");
}

TEST(ImageLineTest, AnAddressOfZeroHasNoPrefix) {
  EXPECT_EQ(ImageLine({0, 0, false, "", ""}), "         0 -          0   armv7  <> \n");
}

TEST(HostTest, EveryKnownProcessorHasItsWord) {
  EXPECT_STREQ(CpuTypeName(7, "x86_64"), "x86_64");
  EXPECT_STREQ(CpuTypeName(7, "i386"), "x86");
  EXPECT_STREQ(CpuTypeName(12, "x86_64"), "ARM");
  EXPECT_STREQ(CpuTypeName(0x1000007, ""), "x86_64");
  EXPECT_STREQ(CpuTypeName(0x100000c, ""), "ARM64");
}

TEST(HostTest, AnyOtherProcessorIsUnsupported) {
  for (const int32_t type : {0, -1, 6, 8, 18, 0x1000012}) {
    EXPECT_STREQ(CpuTypeName(type, "x86_64"), "unSupport") << type;
  }
}

TEST(HostTest, ThisMachineIsX86_64) {
  EXPECT_STREQ(HostCpuTypeName(), "x86_64");
  char name[32];
  MachineName(name, sizeof(name));
  EXPECT_STREQ(name, "x86_64");
}

TEST(HostTest, AMachineNameIsCutToItsRoom) {
  char name[4] = "zzz";
  MachineName(name, sizeof(name));
  EXPECT_STREQ(name, "x86");
  MachineName(name, 1);
  EXPECT_STREQ(name, "");
}

}  // namespace
}  // namespace CrashHandler::machine
