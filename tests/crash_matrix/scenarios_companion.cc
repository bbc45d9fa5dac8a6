// What companions tell, and what goes wrong while one is made.
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

SCENARIO(ReadNull) {
  const volatile int* volatile nowhere = nullptr;
  (void)*nowhere;
}

SCENARIO(ExecuteData) {
  static unsigned char data[64] = {0xc3};
  auto function = reinterpret_cast<void (*)()>(static_cast<unsigned char*>(data));
  auto* volatile called = function;
  called();
}

// No address that a pointer can have: the processor does not tell it.
SCENARIO(WriteToANonCanonicalAddress) {
  auto* volatile nowhere = reinterpret_cast<int*>(0x0123456789abcdef);
  *nowhere = 1;
}

class Words {
 public:
  virtual ~Words() = default;
  long before = 1;
};

// The std::exception is neither first nor at a fixed place.
class VirtualError : public virtual std::exception {
 public:
  const char* what() const noexcept override { return "from a virtual base"; }
};
class ManyBases : public Words, public VirtualError {};

SCENARIO(ThrowOneOfManyBases) { throw ManyBases(); }

SCENARIO(ThrowHostileWords) { throw std::runtime_error("quote \" line\n end \x1b \xff ~"); }

SCENARIO(ThrowLongWords) { throw std::runtime_error(std::string(100000, 'w')); }

struct Wrong : std::exception {
  explicit Wrong(int how) : how_(how) {}
  const char* what() const noexcept override {
    if (how_ == 0) WriteToNull();
    if (how_ == 1) abort();
    if (how_ == 2) SleepForEver();
    return reinterpret_cast<const char*>(8);
  }
  int how_;
};

// The language's own last handler would ask for the words, too.
CHILD_FUNCTION void ThrowWrong(int how) {
  std::set_terminate(abort);
  throw Wrong(how);
}

SCENARIO(ThrowWhatFaults) { ThrowWrong(0); }
SCENARIO(ThrowWhatAborts) { ThrowWrong(1); }
SCENARIO(ThrowWhatHangs) { ThrowWrong(2); }
SCENARIO(ThrowWhatIsNoText) { ThrowWrong(3); }

SCENARIO(AbortWhileHandling) {
  try {
    throw std::logic_error("being handled");
  } catch (const std::exception&) {
    abort();
  }
}

// Another reporter that knows no more than the signal.
SCENARIO(ReportByInvitationWithoutInformation) {
  Require(CrashHandler::ReportCrash(SIGBUS, nullptr, nullptr));
}

// Log lines of a host that are not as they should be.
struct Lines {
  uint64_t first_line() const { return first; }
  uint64_t end_line() const { return end; }
  bool Read(uint64_t, char* buffer, size_t room, size_t* size) const {
    read(buffer, room, size);
    return true;
  }
  uint64_t first;
  uint64_t end;
  void (*read)(char* buffer, size_t room, size_t* size);
};

void UseLines(uint64_t first, uint64_t end, void (*read)(char*, size_t, size_t*)) {
  static Lines lines;
  lines = {first, end, read};
  CrashHandler::UseLogLines(&lines);
}

SCENARIO(LogSourceFaults) {
  UseLines(0, 1, [](char*, size_t, size_t*) { WriteToNull(); });
  DivideByZero();
}

SCENARIO(LogSourceHangs) {
  UseLines(0, 1, [](char*, size_t, size_t*) { SleepForEver(); });
  WriteToNull();
}

SCENARIO(LogSourceThrows) {
  UseLines(0, 1, [](char*, size_t, size_t*) { throw std::runtime_error("no line"); });
  WriteToNull();
}

SCENARIO(LogSourceHasNoEnd) {
  UseLines(0, UINT64_MAX, [](char* buffer, size_t room, size_t* size) {
    memset(buffer, 'x', room);
    *size = SIZE_MAX;
  });
  WriteToNull();
}

SCENARIO(LogSourceIsGone) {
  void* const memory =
      mmap(nullptr, sizeof(Lines), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  Require(memory != MAP_FAILED);
  CrashHandler::UseLogLines(new (memory) Lines{0, 1, nullptr});
  Require(munmap(memory, sizeof(Lines)) == 0);
  WriteToNull();
}

SCENARIO(LogSourceIsForgotten) {
  CrashHandler::ForgetLogLines();
  WriteToNull();
}

SCENARIO(CompanionsAreStopped) {
  CrashHandler::StopCrashCompanions();
  WriteToNull();
}

void NoteInTheCallback(void*, CrashType) { CrashHandler::SetCrashNote("callback", "was here"); }

SCENARIO(NotesAreSetInTheCallback) {
  Callback(NoteInTheCallback);
  WriteToNull();
}

SCENARIO(NotesAreMany) {
  const std::string value(CrashHandler::kMaxCrashNoteValueBytes, '\x01');
  for (size_t i = 0; i < CrashHandler::kMaxCrashNotes - 1; ++i) {
    Require(CrashHandler::SetCrashNote(("key" + std::to_string(i)).c_str(), value.c_str()));
  }
  WriteToNull();
}

// Room for a report, and not for its companion beside it: of the two the companion has none.
SCENARIO(LongLogAtALimitOfFileSizes) {
  UseLines(0, 200, [](char* buffer, size_t room, size_t* size) {
    memset(buffer, '\x01', room);
    *size = room;
  });
  constexpr rlim_t kRoom = 200 * 1024;
  const rlimit limit = {kRoom, kRoom};
  Require(setrlimit(RLIMIT_FSIZE, &limit) == 0);
  WriteToNull();
}

}  // namespace
}  // namespace crash_test
