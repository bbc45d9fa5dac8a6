// Text from reports made safe for where it is shown. Report files come from other machines and may
// hold any bytes; so may the names of files and the arguments that error lines repeat.
#ifndef ORU_REPORT_TEXT_ESCAPE_H_
#define ORU_REPORT_TEXT_ESCAPE_H_

#include <string>
#include <string_view>

namespace oru_report {

// `text` with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string ToValidUtf8(std::string_view text);

// Valid UTF-8 in which characters that act instead of being seen are shown by their number: control
// characters (C0 but tabs, DEL, C1) as "\x1b" or "\u009b", marks that turn the writing's direction,
// separate lines or have no width as "\u202e". With `keep_lines` line ends stay.
std::string Visible(std::string_view text, bool keep_lines = false);

// For a line of a terminal: Visible.
std::string ForTerminal(std::string_view text);

// For HTML text and double-quoted attributes: Visible with its line ends, and the five special
// characters as entities.
std::string ForHtml(std::string_view text);

// A JSON string with its quotes; what Visible shows by number is escaped, so nothing is lost.
std::string JsonString(std::string_view text);

}  // namespace oru_report

#endif  // ORU_REPORT_TEXT_ESCAPE_H_
