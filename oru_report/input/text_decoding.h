// The text of a report file, whatever became of it on its way: other programs add a byte order
// mark, write UTF-16, or end lines with CR and LF.
#ifndef ORU_REPORT_INPUT_TEXT_DECODING_H_
#define ORU_REPORT_INPUT_TEXT_DECODING_H_

#include <string>
#include <string_view>

namespace oru_report {

// `bytes` as UTF-8 with "\n" alone at the ends of lines, without a byte order mark. UTF-16 is known
// by its mark or by a first character of ASCII. Any number of CRs at the end of a line go; CR stays
// where the first line does not end in one.
std::string PlainText(std::string bytes);

// Whether a file that begins with these bytes begins as a report does, in any of those forms. Short
// beginnings of one count, and so does one behind some lines of a mail.
bool BeginsLikeReport(std::string_view bytes);

// As many bytes as BeginsLikeReport looks at.
constexpr size_t kBeginningBytes = 4096;

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_TEXT_DECODING_H_
