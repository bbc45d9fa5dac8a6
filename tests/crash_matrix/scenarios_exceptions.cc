// C++ exceptions that nobody catches, or that end in std::terminate, and faults on the way up.
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

CHILD_FUNCTION void ThrowUncaught() { throw std::runtime_error("nobody catches this"); }

// No class of the standard library, and no class at all.
CHILD_FUNCTION void ThrowANumber() { throw 42; }

CHILD_FUNCTION void ThrowOutOfNoexcept() noexcept { ThrowUncaught(); }

CHILD_FUNCTION void RethrowNothing() { throw; }

CHILD_FUNCTION void RethrowUncaught() {
  try {
    ThrowUncaught();
  } catch (const std::exception&) {
    fputs("caught once\n", stderr);
    throw;
  }
}

CHILD_FUNCTION void RethrowStoredException() {
  std::exception_ptr stored;
  try {
    ThrowUncaught();
  } catch (...) {
    stored = std::current_exception();
  }
  std::rethrow_exception(stored);
}

class Base {
 public:
  virtual ~Base() { CallOverridden(); }
  CHILD_FUNCTION void CallOverridden() { Overridden(); }
  virtual void Overridden() = 0;
};

class Derived : public Base {
 public:
  void Overridden() override {}
};

// The derived part is gone when the base's destructor calls.
CHILD_FUNCTION void CallPureVirtual() {
  Base* volatile object = new Derived;
  delete object;
}

CHILD_FUNCTION void NegativeArraySize() {
  volatile int count = -1;
  volatile char* memory = new char[static_cast<size_t>(count)];
  memory[0] = 1;
}

CHILD_FUNCTION void FaultInACatchBlock() {
  try {
    ThrowUncaught();
  } catch (const std::exception& caught) {
    fputs(caught.what(), stderr);
    WriteToNull();
  }
}

struct FaultsWhenDestroyed {
  CHILD_FUNCTION ~FaultsWhenDestroyed() { WriteToNull(); }
};

CHILD_FUNCTION void FaultWhileUnwinding() {
  try {
    const FaultsWhenDestroyed object;
    ThrowUncaught();
  } catch (const std::exception&) {
    fputs("caught\n", stderr);
  }
}

struct ThrowsWhenDestroyed {
  CHILD_FUNCTION ~ThrowsWhenDestroyed() noexcept(false) { ThrowUncaught(); }
};

CHILD_FUNCTION void ThrowWhileUnwinding() {
  try {
    const ThrowsWhenDestroyed object;
    ThrowUncaught();
  } catch (const std::exception&) {
    fputs("caught\n", stderr);
  }
}

// A host's own last word, which faults.
CHILD_FUNCTION void FaultInTheTerminateHandler() {
  std::set_terminate(WriteToNull);
  ThrowUncaught();
}

struct ThrowsWhenCopied {
  ThrowsWhenCopied() = default;
  CHILD_FUNCTION ThrowsWhenCopied(const ThrowsWhenCopied& /*other*/) { ThrowUncaught(); }
};

// Between the throw and the handler's first line.
CHILD_FUNCTION void ThrowWhileCatching() {
  try {
    throw ThrowsWhenCopied();
  } catch (ThrowsWhenCopied copy) {  // NOLINT: the copy is the point
    fputs("caught\n", stderr);
  }
}

}  // namespace

std::vector<Scenario> ExceptionScenarios() {
  return {
      SCENARIO(ThrowUncaught),       SCENARIO(ThrowANumber),
      SCENARIO(ThrowOutOfNoexcept),  SCENARIO(RethrowNothing),
      SCENARIO(RethrowUncaught),     SCENARIO(RethrowStoredException),
      SCENARIO(CallPureVirtual),     SCENARIO(NegativeArraySize),
      SCENARIO(FaultInACatchBlock),  SCENARIO(FaultWhileUnwinding),
      SCENARIO(ThrowWhileUnwinding), SCENARIO(FaultInTheTerminateHandler),
      SCENARIO(ThrowWhileCatching),
  };
}

}  // namespace crash_test
