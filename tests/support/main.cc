#include <gtest/gtest.h>

int main(int argc, char** argv) {
  // Death tests re-execute the binary: a forked copy of a threaded process cannot be trusted to
  // run.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
