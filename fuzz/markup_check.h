// Checks of what is shown of a report: nothing in it may act on the page or the terminal.
#ifndef FUZZ_MARKUP_CHECK_H_
#define FUZZ_MARKUP_CHECK_H_

#include <string>

namespace oru_fuzz {

// Requires a page of only the tags that the product writes, well nested, and of entities for all
// other markup. Returns its text, the entities read back.
std::string TextOfPage(const std::string& html);

// Requires UTF-8 without control characters but line ends and tabs. With `color`, what the
// product's colours need is left out of the look first.
void CheckTerminalText(const std::string& text, bool color);

}  // namespace oru_fuzz

#endif  // FUZZ_MARKUP_CHECK_H_
