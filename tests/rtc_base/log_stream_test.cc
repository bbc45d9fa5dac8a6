#include "media_core/common/webrtc/rtc_base/log_stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <complex>
#include <functional>
#include <iomanip>
#include <iostream>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/rtc_base/log_capture.h"

// Global, as some printers of standard types are.
std::ostream& operator<<(std::ostream& out, const std::vector<int>& values);
std::ostream& operator<<(std::ostream& out, const std::vector<int>& values) {
  for (const int value : values) {
    out << value << ';';
  }
  return out;
}

namespace {

using ::operator<<;
using rtc::LogStream;

// The same operations on a log stream and on a string stream give the same text.
template <class Operations>
void ExpectSame(const Operations& operations) {
  std::ostringstream standard;
  operations(standard);
  const LogStream::Owner own = LogStream::Take();
  operations(*own);
  EXPECT_EQ(own->text(), standard.str());
  EXPECT_EQ(own->rdstate(), standard.rdstate());
}

enum PlainEnum { kPlain = 5 };
enum PrintedEnum { kPrinted = 6 };
std::ostream& operator<<(std::ostream& out, PrintedEnum /*value*/) { return out << "printed"; }

// Converts to an integer, and prints otherwise.
struct Convertible {
  operator int() const { return 1; }
};
std::ostream& operator<<(std::ostream& out, const Convertible& /*value*/) { return out << "conv"; }

struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '\''; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(LogStream, IntegersLookAsInAStandardStream) {
  ExpectSame([](auto& s) {
    s << 0 << ' ' << -1 << ' ' << INT_MIN << ' ' << INT_MAX << ' ' << LLONG_MIN << ' ' << LLONG_MAX
      << ' ' << ULLONG_MAX << ' ' << 99u << ' ' << 100ul << ' ' << true << false << ' '
      << static_cast<short>(-7) << ' ' << static_cast<unsigned short>(65535);
  });
}

TEST(LogStream, EveryNumberOfDigitsIsRight) {
  ExpectSame([](auto& s) {
    for (unsigned long long value = 1; value < ULLONG_MAX / 10; value = value * 10 + 7) {
      s << value << ' ' << value - 1 << ' ' << -static_cast<long long>(value / 2) << ' ';
    }
  });
}

TEST(LogStream, FloatingPointLooksAsInAStandardStream) {
  ExpectSame([](auto& s) {
    s << 1.5 << ' ' << 1e100 << ' ' << 1.0f / 3 << ' ' << std::numeric_limits<double>::infinity()
      << ' ' << 0.1L;
  });
}

TEST(LogStream, PointersAndCharactersLookAsInAStandardStream) {
  int here = 0;
  const void* const address = &here;
  ExpectSame([&](auto& s) {
    s << address << &here << static_cast<const void*>(nullptr) << 'c'
      << static_cast<signed char>('s') << static_cast<unsigned char>('u');
  });
}

TEST(LogStream, TextOfEveryKindIsTaken) {
  char array[] = "array";
  char* const pointer = array;
  ExpectSame([&](auto& s) {
    s << "literal" << array << pointer << std::string("with\0zero", 9) << std::string_view("view")
      << static_cast<const char*>("const");
  });
}

TEST(LogStream, ManipulatorsHold) {
  ExpectSame([](auto& s) {
    s << std::hex << std::showbase << 255 << ' ' << std::setw(8) << std::setfill('.') << 17
      << std::dec << std::noshowbase << std::setw(6) << "ab" << std::left << std::setw(4) << 'c'
      << std::boolalpha << true << std::setprecision(2) << std::fixed << 3.14159 << std::showpos
      << 5 << std::endl
      << std::setw(5) << std::string("s") << std::uppercase << std::hex << 0xabc;
  });
}

TEST(LogStream, ManipulatorAsAFirstOperandHolds) {
  ExpectSame([](auto& s) {
    s << std::hex;
    s << 255;
  });
}

TEST(LogStream, NullTextFailsTheStreamAsUsual) {
  ExpectSame([](auto& s) { s << "a" << static_cast<const char*>(nullptr) << "b" << 1; });
}

TEST(LogStream, PrintersOfOtherTypesAreKept) {
  ExpectSame([](auto& s) {
    s << kPlain << ' ' << kPrinted << ' ' << Convertible() << ' ' << std::complex<double>(1, 2)
      << ' ' << std::vector<int>{1, 2};
  });
}

TEST(LogStream, IsAStandardStream) {
  const LogStream::Owner own = LogStream::Take();
  std::ostream& standard = *own;
  standard << "a" << 1 << std::setw(3) << 2;
  standard.put('c').write("de", 2).flush();
  EXPECT_EQ(own->text(), "a1  2cde");
  EXPECT_EQ(standard.tellp(), std::streampos(8));
}

TEST(LogStream, PositionCannotBeMoved) {
  const LogStream::Owner own = LogStream::Take();
  *own << "abc";
  own->seekp(0);
  EXPECT_TRUE(own->fail());
}

TEST(LogStream, NextMessageBeginsInTheOrdinaryFormat) {
  {
    const LogStream::Owner first = LogStream::Take();
    *first << std::hex << std::setprecision(12) << std::setfill('*') << std::setw(9)
           << std::boolalpha;
    first->setstate(std::ios_base::failbit);
  }
  const LogStream::Owner second = LogStream::Take();
  *second << 255 << true << 1.0 / 3 << std::setw(3) << 1;
  EXPECT_EQ(second->text(), "2551" + std::string("0.333333") + "  1");
}

TEST(LogStream, NextMessageForgetsCustomManipulators) {
  static const int word = std::ios_base::xalloc();
  {
    const LogStream::Owner first = LogStream::Take();
    first->iword(word) = 7;
    *first << 0.5;
  }
  const LogStream::Owner second = LogStream::Take();
  EXPECT_EQ(second->iword(word), 0);
}

// Each alone: nothing else about the stream changes with it.
TEST(LogStream, NextMessageForgetsWordsCallbacksAndTies) {
  static const int word = std::ios_base::xalloc();
  static int calls = 0;
  const std::function<void(std::ostream&)> changes[] = {
      [](std::ostream& s) { s.iword(word) = 7; },
      [](std::ostream& s) { s.pword(word) = &calls; },
      [](std::ostream& s) { s.iword(word + 40) = 7; },
      [](std::ostream& s) {
        s.register_callback([](std::ios_base::event, std::ios_base&, int) { ++calls; }, 0);
      },
      [](std::ostream& s) { s.tie(&std::cout); },
      [](std::ostream& s) { s.rdbuf(std::cout.rdbuf()); },
      [](std::ostream& s) { s.rdbuf()->pubimbue(std::locale(std::locale(), new Grouping)); },
  };
  for (const auto& change : changes) {
    { change(*LogStream::Take()); }
    const LogStream::Owner second = LogStream::Take();
    EXPECT_EQ(second->iword(word), 0);
    EXPECT_EQ(second->iword(word + 40), 0);
    EXPECT_EQ(second->pword(word), nullptr);
    EXPECT_EQ(second->tie(), nullptr);
    calls = 0;
    second->imbue(second->getloc());
    EXPECT_EQ(calls, 0);
    *second << 0.5 << 1234;
    EXPECT_EQ(second->text(), "0.51234");
  }
}

TEST(LogStream, NextMessageHasItsOwnBufferAndNoExceptions) {
  std::ostringstream other;
  {
    const LogStream::Owner first = LogStream::Take();
    first->exceptions(std::ios_base::badbit);
    static_cast<std::ios&>(*first).rdbuf(other.rdbuf());
    static_cast<std::ostream&>(*first) << "elsewhere";
  }
  const LogStream::Owner second = LogStream::Take();
  *second << static_cast<const char*>(nullptr);
  second->clear();
  *second << 0.5;
  EXPECT_EQ(second->text(), "0.5");
}

TEST(LogStream, GlobalLocaleOfTheMomentIsUsed) {
  { const LogStream::Owner before = LogStream::Take(); }
  const std::locale old = std::locale::global(std::locale(std::locale(), new Grouping));
  {
    const LogStream::Owner grouped = LogStream::Take();
    *grouped << 1234567;
    EXPECT_EQ(grouped->text(), "1'234'567");
  }
  std::locale::global(old);
  const LogStream::Owner plain = LogStream::Take();
  *plain << 1234567;
  EXPECT_EQ(plain->text(), "1234567");
}

TEST(LogStream, LocaleOfOneMessageIsItsOwn) {
  {
    const LogStream::Owner first = LogStream::Take();
    first->imbue(std::locale(std::locale(), new Grouping));
    *first << 1234;
    EXPECT_EQ(first->text(), "1'234");
  }
  const LogStream::Owner second = LogStream::Take();
  *second << 1234;
  EXPECT_EQ(second->text(), "1234");
}

// A value that logs while it is printed.
struct LoggingValue {};
std::ostream& operator<<(std::ostream& out, const LoggingValue& /*value*/) {
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "inside " << std::hex << 16;
  return out << "value";
}

TEST(LogStream, ValueThatLogsWhileItIsStreamedKeepsBothLines) {
  const oru_test::LogCapture capture;
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "a " << LoggingValue() << " b " << 16;
  EXPECT_EQ(capture.lines(), (std::vector<std::string>{"[I] inside 10\n", "[I] a value b 16\n"}));
}

TEST(LogStream, FailedStreamStillEndsItsLine) {
  const oru_test::LogCapture capture;
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO, rtc::ERRCTX_ERRNO, 0).stream()
      << "a" << static_cast<const char*>(nullptr) << "lost";
  EXPECT_EQ(capture.OnlyLine().substr(0, 23), "[I] a : [0x00000000] Su");
  EXPECT_EQ(capture.OnlyLine().back(), '\n');
}

TEST(LogStream, HugeLineIsWholeAndItsMemoryIsNotKept) {
  const oru_test::LogCapture capture;
  const std::string huge(3 * 1024 * 1024, 'h');
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << huge;
  EXPECT_EQ(capture.OnlyLine(), "[I] " + huge + "\n");
  EXPECT_LT(LogStream::Take()->text().capacity(), 100u * 1024);
}

TEST(LogStream, MemoryOfLongLinesIsKeptWhileTheyCome) {
  const oru_test::LogCapture capture;
  const auto log = [](size_t size) {
    rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << std::string(size, 'x');
    return LogStream::Take()->text().capacity();
  };
  EXPECT_GT(log(1024 * 1024), 1024u * 1024);
  EXPECT_GT(log(10), 1024u * 1024);
  size_t capacity = 0;
  for (int i = 0; i < 100; ++i) capacity = log(10);
  EXPECT_LT(capacity, 100u * 1024);
}

}  // namespace
