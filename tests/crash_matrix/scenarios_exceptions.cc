// C++ exceptions that nobody catches, or that end in std::terminate, and faults on the way up.
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

SCENARIO(ThrowUncaught) { throw std::runtime_error("nobody catches this"); }

// No class of the standard library, and no class at all.
SCENARIO(ThrowANumber) { throw 42; }

CHILD_FUNCTION void ThrowOutOfNoexcept() noexcept { ThrowUncaught(); }

SCENARIO(RethrowNothing) { throw; }

SCENARIO(RethrowUncaught) {
  try {
    ThrowUncaught();
  } catch (const std::exception&) {
    fputs("caught once\n", stderr);
    throw;
  }
}

SCENARIO(RethrowStoredException) {
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
SCENARIO(CallPureVirtual) {
  Base* volatile object = new Derived;
  delete object;
}

SCENARIO(NegativeArraySize) {
  volatile int count = -1;
  volatile char* memory = new char[static_cast<size_t>(count)];
  memory[0] = 1;
}

SCENARIO(FaultInACatchBlock) {
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

SCENARIO(FaultWhileUnwinding) {
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

SCENARIO(ThrowWhileUnwinding) {
  try {
    const ThrowsWhenDestroyed object;
    ThrowUncaught();
  } catch (const std::exception&) {
    fputs("caught\n", stderr);
  }
}

// A host's own last word, which faults.
SCENARIO(FaultInTheTerminateHandler) {
  std::set_terminate(WriteToNull);
  ThrowUncaught();
}

struct ThrowsWhenCopied {
  ThrowsWhenCopied() = default;
  CHILD_FUNCTION ThrowsWhenCopied(const ThrowsWhenCopied& /*other*/) { ThrowUncaught(); }
};

// Between the throw and the handler's first line.
SCENARIO(ThrowWhileCatching) {
  try {
    throw ThrowsWhenCopied();
  } catch (ThrowsWhenCopied copy) {  // NOLINT: the copy is the point
    fputs("caught\n", stderr);
  }
}

}  // namespace

REGISTER_SCENARIO(ThrowOutOfNoexcept);

}  // namespace crash_test
