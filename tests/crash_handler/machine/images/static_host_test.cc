#include <gtest/gtest.h>

#include <string>

#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

TEST(StaticHostTest, FunctionsAreNamedFromTheProgramsOwnSymbolTable) {
  const auto result = oru_test::RunChild({STATIC_HOST});
  EXPECT_EQ(result.Ending(), "exit 0") << result.err;
  const size_t hidden = result.out.find("PrintsItsStack");
  ASSERT_NE(hidden, std::string::npos) << result.out;
  EXPECT_NE(result.out.find("(main+0x", hidden), std::string::npos) << result.out;
}

}  // namespace
}  // namespace CrashHandler::machine
