#include "media_core/biz_engine/crash_handler/machine/memory/spare_object.h"

#include <gtest/gtest.h>

namespace CrashHandler::machine {
namespace {

struct Counted {
  Counted() { ++made; }
  ~Counted() { ++gone; }
  int users = 0;
  static inline int made = 0;
  static inline int gone = 0;
};

TEST(SpareObjectTest, OneIsKeptAsItsLastUserLeftIt) {
  static SpareObject<Counted> spare;
  Counted::made = Counted::gone = 0;
  ScratchMemory first;
  ScratchMemory second;
  ++spare.Take(&first)->users;
  ++spare.Take(&second)->users;
  EXPECT_EQ(Counted::made, 2);
  spare.GiveBack(&first);
  spare.GiveBack(&second);
  EXPECT_EQ(Counted::gone, 1);
  ScratchMemory third;
  EXPECT_EQ(spare.Take(&third)->users, 1);
  EXPECT_EQ(Counted::made, 2);
  spare.GiveBack(&third);
}

}  // namespace
}  // namespace CrashHandler::machine
