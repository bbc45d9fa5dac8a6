#include "oru_report/text/demangle.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace oru_report {
namespace {

// A function of `count` pairs, each a pair of two of the one before: its readable form doubles with
// each.
std::string NestedPairs(int count) {
  std::string symbol = "_Z1fSt4pairIiiE";
  for (int i = 0; i < count; ++i) {
    const std::string previous = std::string("S") + "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[i] + "_";
    symbol += "S_I" + previous + previous + "E";
  }
  return symbol;
}

// Packs inside packs: each multiplies what stands in it by the number of arguments.
std::string NestedPacks(int count) {
  std::string symbol = "_Z1fIJiiiiiiiiiiiiiiiiiiiiEEv";
  for (int i = 0; i < count; ++i) symbol += "DpSt5tupleIJT_";
  symbol += "DpSt4pairIT_T_E";
  for (int i = 0; i < count; ++i) symbol += "EE";
  return symbol;
}

TEST(Demangle, ReadsMangledNames) {
  EXPECT_EQ(Demangle("_ZN6OruRTC6Engine4joinEi"), "OruRTC::Engine::join(int)");
  EXPECT_EQ(Demangle(NestedPairs(1)),
            "f(std::pair<int, int>, std::pair<std::pair<int, int>, std::pair<int, int> >)");
  EXPECT_EQ(Demangle("_Z1fIJicEEvDpRKT_"), "void f<int, char>(int const&, char const&)");
}

TEST(Demangle, LeavesOtherNamesAlone) {
  EXPECT_EQ(Demangle("main"), "main");
  EXPECT_EQ(Demangle("i"), "i");
  EXPECT_EQ(Demangle(""), "");
  EXPECT_EQ(Demangle("_Znonsense"), "_Znonsense");
}

// In KiB.
long PeakMemory() {
  struct rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(Demangle, LeavesNamesThatStandForMoreThanMemoryHolds) {
  const long before = PeakMemory();
  for (int count = 12; count <= 36; ++count) {
    EXPECT_EQ(Demangle(NestedPairs(count)), NestedPairs(count)) << count;
    ASSERT_LT(PeakMemory(), before + 256L * 1024) << count;
  }
  for (int count = 3; count <= 20; ++count) {
    EXPECT_EQ(Demangle(NestedPacks(count)), NestedPacks(count)) << count;
    ASSERT_LT(PeakMemory(), before + 256L * 1024) << count;
  }
}

TEST(Demangle, LeavesNamesWhoseReadableFormNobodyReads) {
  // Short enough to be tried.
  EXPECT_EQ(Demangle(NestedPairs(9)), NestedPairs(9));
  EXPECT_LT(Demangle(NestedPairs(5)).size(), 4096U);
  EXPECT_NE(Demangle(NestedPairs(5)), NestedPairs(5));
}

TEST(Demangle, LeavesEndlessNames) {
  const std::string endless = "_Z" + std::string(1 << 20, 'S');
  EXPECT_EQ(Demangle(endless), endless);
}

}  // namespace
}  // namespace oru_report
