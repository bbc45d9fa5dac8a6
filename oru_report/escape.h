// Text from reports made safe for where it is shown: report files come from other machines and may
// hold any bytes.
#ifndef ORU_REPORT_ESCAPE_H_
#define ORU_REPORT_ESCAPE_H_

#include <string>

namespace oru_report {

// `text` with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string ToValidUtf8(const std::string& text);

// For a terminal: valid UTF-8, and control characters (escape sequences!) but tabs shown as "\x1b".
std::string ForTerminal(const std::string& text);

// For HTML text and double-quoted attributes: valid UTF-8 with the five special characters as
// entities.
std::string ForHtml(const std::string& text);

// A JSON string with its quotes.
std::string JsonString(const std::string& text);

}  // namespace oru_report

#endif  // ORU_REPORT_ESCAPE_H_
