// Logging: one message, one line, to standard error and to any number of sinks.
//
//   ORU_LOG(LS_INFO) << "Joined channel " << name;
//
// A line passes to an output when its severity reaches the output's threshold. With nothing
// configured, no severity does. All state is the process's; every function here may be called on
// any thread, none in a signal handler.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOGGING_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOGGING_H_

#include <cerrno>
#include <cstdint>

#include "media_core/common/webrtc/rtc_base/error_labels.h"
#include "media_core/common/webrtc/rtc_base/log_call_cost.h"
#include "media_core/common/webrtc/rtc_base/log_message.h"
#include "media_core/common/webrtc/rtc_base/log_multiline.h"
#include "media_core/common/webrtc/rtc_base/log_severity.h"
#include "media_core/common/webrtc/rtc_base/log_sink.h"
#include "media_core/common/webrtc/rtc_base/process_id.h"

#pragma GCC visibility push(default)

namespace rtc {

// Formats as printf does into 4090 bytes and logs the text, newlines at its end made one (the line
// adds its own besides). A longer text keeps 4088 characters. Severities outside LS_VERBOSE to
// LS_ERROR are dropped.
void ALOG(LoggingSeverity sev, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Milliseconds since 1970 by the calendar clock, which may be set back.
int64_t get_time_ms_c();

}  // namespace rtc

#pragma GCC visibility pop

// The macros test the threshold first: a disabled statement costs one load and one branch and
// evaluates none of its operands. A statement is one expression of type bool, true when the line
// was built, so that it can stand behind `&&`. The severity is a bare enumerator:
// ORU_LOG(LS_WARNING) << "text";
//
//   ORU_LOG(sev)                      text
//   ORU_LOG_V(sev)                    the severity is any expression, evaluated once
//   ORU_LOG_F(sev)                    the function's name and ": " first
//   ORU_LOG_T(sev)                    the address in `this` and ": " first
//   ORU_LOG_TAG(sev, tag)             a tag first
//   ORU_LOG_TAG_SUB(sev, tag, sub)    a tag with a subtag first
//   ORU_LOG_SINK(sev, id)             to the sinks of that id only
//   ORU_LOG_ERRNO(sev)                errno and its text at the end
//   ORU_LOG_ERRNO_EX(sev, err)        a given errno value and its text at the end
//   ORU_LOG_OSSTATUS(sev, status)     a status code of the operating system and its text at the end
//   ORU_LOG_CHECK_LEVEL(sev)          whether any output might take that severity
//   ORU_LOG_CALL_COST(name)           how long the rest of the scope took, at LS_INFO

// Log statements, as the list above tells.
#define ORU_LOG_V(sev)                    \
  ::rtc::LogMessage::LoggableOnce(sev) && \
      ::rtc::LogMessageLogged() &         \
          ::rtc::LogMessage(__FILE__, __LINE__, ::rtc::LogMessage::RememberedSeverity()).stream()
#define ORU_LOG(sev) ORU_LOG_IF_LOGGABLE_(::rtc::sev, )
#define ORU_LOG_F(sev) ORU_LOG(sev) << __func__ << ": "
#define ORU_LOG_T(sev) ORU_LOG(sev) << this << ": "
#define ORU_LOG_TAG(sev, tag) ORU_LOG_IF_LOGGABLE_(::rtc::sev, , ::std::string(tag))
#define ORU_LOG_TAG_SUB(sev, tag, subtag) \
  ORU_LOG_IF_LOGGABLE_(::rtc::sev, , ::std::string(tag), ::std::string(subtag))
#define ORU_LOG_SINK(sev, sink_id) \
  ORU_LOG_IF_LOGGABLE_(::rtc::sev, , ::rtc::ERRCTX_NONE, 0, nullptr, (sink_id))
#define ORU_LOG_ERRNO_EX(sev, err) ORU_LOG_IF_LOGGABLE_(::rtc::sev, , ::rtc::ERRCTX_ERRNO, (err))
#define ORU_LOG_ERRNO(sev) ORU_LOG_ERRNO_EX(sev, errno)
#define ORU_LOG_OSSTATUS(sev, status) \
  ORU_LOG_IF_LOGGABLE_(::rtc::sev, , ::rtc::ERRCTX_OSSTATUS, (status))
#define ORU_LOG_CHECK_LEVEL(sev) ::rtc::LogMessage::Loggable(::rtc::sev)

// For the macro below.
#define ORU_LOG_CONCAT_INNER_(a, b) a##b
#define ORU_LOG_CONCAT_(a, b) ORU_LOG_CONCAT_INNER_(a, b)
// Logs how long the rest of the scope took, at LS_INFO.
#define ORU_LOG_CALL_COST(name) \
  const ::rtc::LogCallCostTime ORU_LOG_CONCAT_(oru_log_call_cost_, __LINE__)(name)

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOGGING_H_
