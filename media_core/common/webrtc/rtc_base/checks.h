// Checks: what must hold is tested in every build, and the process ends with a report when it does
// not.
//
//   ORU_CHECK(file != nullptr);
//   ORU_CHECK_EQ(0, pthread_join(thread, nullptr)) << "while stopping";
//
// A failing check writes to standard error, and then calls abort():
//
//   (two newlines)
//   #
//   # Fatal error in FILE, line LINE
//   # last system error: ERRNO
//   # Check failed: TEXT
//   # whatever was streamed
//   #
//
// The report is handed to fprintf as its format: a '%' in a check's text or in a streamed value is
// interpreted, so fatal texts must not hold one (write "%%" where it cannot be avoided).
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CHECKS_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CHECKS_H_

#include <cstdarg>
#include <ostream>
#include <sstream>
#include <string>

#pragma GCC visibility push(default)

// A fatal message for callers in C, who declare it themselves: `msg` streamed into a
// rtc::FatalMessage. Does not return. `file` and `msg` must not be null.
extern "C" [[noreturn]] void rtc_FatalMessage(const char* file, int line, const char* msg);

namespace rtc {

// The text of a failed comparison: `exprtext` + " (" + v1 + " vs. " + v2 + ")", the values written
// as a stream writes them. The caller owns the result.
template <class T1, class T2>
std::string* MakeCheckOpString(const T1& v1, const T2& v2, const char* exprtext) {
  std::ostringstream stream;
  stream << exprtext << " (" << v1 << " vs. " << v2 << ")";
  return new std::string(stream.str());
}

// The usual operands are compiled once, in checks.cc.
extern template std::string* MakeCheckOpString<int, int>(const int&, const int&, const char*);
extern template std::string* MakeCheckOpString<unsigned int, unsigned long>(const unsigned int&,
                                                                            const unsigned long&,
                                                                            const char*);
extern template std::string* MakeCheckOpString<unsigned long, unsigned int>(const unsigned long&,
                                                                            const unsigned int&,
                                                                            const char*);
extern template std::string* MakeCheckOpString<unsigned long, unsigned long>(const unsigned long&,
                                                                             const unsigned long&,
                                                                             const char*);
extern template std::string* MakeCheckOpString<std::string, std::string>(const std::string&,
                                                                         const std::string&,
                                                                         const char*);

// One fatal report. It is begun by the constructor, completed through stream(), and written by the
// destructor, which ends the process: use it as a temporary, through the macros below where they
// fit. One thread uses one object; several threads may fail at once (the first abort() wins).
class FatalMessage {
 public:
  // Begins the report with errno as it is now. `file` must not be null.
  FatalMessage(const char* file, int line);
  // As above, followed by "Check failed: " and `*result`. Takes ownership of `result`, which must
  // not be null.
  FatalMessage(const char* file, int line, std::string* result);
  // Flushes standard output and standard error, writes the report to standard error, aborts.
  [[noreturn]] ~FatalMessage();
  FatalMessage(const FatalMessage&) = delete;
  FatalMessage& operator=(const FatalMessage&) = delete;

  // Where the caller adds to the report's last line.
  std::ostream& stream() { return stream_; }

 private:
  FatalMessage(int system_error, const char* file, int line);

  std::ostringstream stream_;
};

// vfprintf to standard error.
void PrintError(const char* format, ...);
void VPrintError(const char* format, va_list args);

// The place for printing the caller's stack in a report; none is printed on any platform so far.
void DumpBacktrace();

namespace checks_internal {

// Turns a finished stream expression into a condition; `&` binds weaker than `<<` and stronger than
// `&&`.
struct Failed {
  bool operator&(std::ostream&) const { return true; }
};

inline bool Unlikely(bool condition) { return __builtin_expect(condition, 0); }

// The text of a failed comparison on its way to the fatal message of the same expression.
// Returns true.
bool KeepText(std::string* text);
std::string* TakeText();

// Whether the comparison fails: the operands' text is built only then.
#define ORU_DEFINE_CHECK_OP(name, op)                                     \
  template <class T1, class T2>                                           \
  inline bool Fails##name(const T1& v1, const T2& v2, const char* text) { \
    return !__builtin_expect(static_cast<bool>(v1 op v2), 1) &&           \
           KeepText(MakeCheckOpString<T1, T2>(v1, v2, text));             \
  }
ORU_DEFINE_CHECK_OP(EQ, ==)
ORU_DEFINE_CHECK_OP(NE, !=)
ORU_DEFINE_CHECK_OP(LT, <)
ORU_DEFINE_CHECK_OP(LE, <=)
ORU_DEFINE_CHECK_OP(GT, >)
ORU_DEFINE_CHECK_OP(GE, >=)
#undef ORU_DEFINE_CHECK_OP

}  // namespace checks_internal
}  // namespace rtc

#pragma GCC visibility pop

// Every check is one expression, a chain of `&&`, so that it binds as one behind a condition:
// `started && ORU_CHECK(file != nullptr)` checks only when `started`.

// The forms with a place and a text of their own, for reports whose wording is part of an
// interface and may not follow the source. `op` is one of EQ, NE, LT, LE, GT, GE.
#define ORU_CHECK_AT(file, line, text, ...)                                       \
  ::rtc::checks_internal::Unlikely(!static_cast<bool>(__VA_ARGS__)) &&            \
      ::rtc::checks_internal::Failed() & ::rtc::FatalMessage(file, line).stream() \
                                             << "Check failed: " << (text) << "\n# "
#define ORU_CHECK_OP_AT(file, line, text, op, v1, v2)      \
  ::rtc::checks_internal::Fails##op((v1), (v2), (text)) && \
      ::rtc::checks_internal::Failed() &                   \
          ::rtc::FatalMessage(file, line, ::rtc::checks_internal::TakeText()).stream()

// Ends the process unless the condition holds. More can be streamed into it; that is evaluated on
// failure only.
#define ORU_CHECK(...) ORU_CHECK_AT(__FILE__, __LINE__, #__VA_ARGS__, __VA_ARGS__)

// End the process unless the comparison holds; the report shows both operands. Each operand is
// evaluated once. Operands of different signedness draw the compiler's warning: write 0u.
#define ORU_CHECK_EQ(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " == " #v2, EQ, v1, v2)
#define ORU_CHECK_NE(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " != " #v2, NE, v1, v2)
#define ORU_CHECK_LT(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " < " #v2, LT, v1, v2)
#define ORU_CHECK_LE(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " <= " #v2, LE, v1, v2)
#define ORU_CHECK_GT(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " > " #v2, GT, v1, v2)
#define ORU_CHECK_GE(v1, v2) ORU_CHECK_OP_AT(__FILE__, __LINE__, #v1 " >= " #v2, GE, v1, v2)

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CHECKS_H_
