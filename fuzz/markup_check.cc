#include "fuzz/markup_check.h"

#include <set>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "fuzz/utf8_check.h"
#include "oru_report/page_assets.h"

namespace oru_fuzz {
namespace {

// Start tags as they stand between "<" and ">".
bool IsKnownTag(const std::string& tag) {
  static const std::set<std::string> known = {
      "!DOCTYPE html",
      "html lang=en",
      "head",
      "meta charset=utf-8",
      "meta name=viewport content=\"width=device-width, initial-scale=1\"",
      "meta http-equiv=Content-Security-Policy content=\"default-src 'none'; style-src "
      "'unsafe-inline'; script-src 'unsafe-inline'\"",
      "title",
      "style",
      "script",
      "body",
      "h1",
      "h2",
      "dl",
      "dt",
      "dd",
      "p",
      "p class=none",
      "p class=exception",
      "span class=none",
      "span class=count",
      "span class=tag",
      "span class=top",
      "span class=place",
      "span class=where",
      "span id=found role=status",
      "div class=\"frames crashed\"",
      "div class=wide",
      "details",
      "details class=crashed open",
      "summary",
      "b",
      "ol start=0",
      "li",
      "code",
      "code class=fn",
      "button id=fold",
      "input id=search type=search placeholder=\"Name, path, UUID or address\" aria-label=\"Search "
      "images\"",
      "table id=images",
      "thead",
      "tbody",
      "tr",
      "th",
      "td",
      "td class=path",
      "pre"};
  return known.count(tag) != 0;
}

bool HasNoEnd(const std::string& name) {
  return name == "!DOCTYPE" || name == "meta" || name == "input";
}

std::string Without(std::string text, const std::string& part) {
  const size_t at = text.find(part);
  Require(at != std::string::npos, "the page has its style and script");
  return text.erase(at, part.size());
}

std::string Decoded(const std::string& text) {
  const std::string spaces = "&nbsp;";
  std::string plain = text;
  for (size_t at = 0; (at = plain.find(spaces, at)) != std::string::npos;) {
    plain.replace(at, spaces.size(), " ");
  }
  const std::string heading = "The host's own words";
  const size_t at_heading = plain.find(heading);
  if (at_heading != std::string::npos) plain.erase(at_heading, heading.size());
  Require(plain.find_first_of(">\"'") == std::string::npos, "special characters are entities");
  size_t entities = 0;
  for (const char* entity : {"&lt;", "&gt;", "&amp;", "&apos;", "&quot;"}) {
    for (size_t at = 0; (at = plain.find(entity, at)) != std::string::npos; ++at) ++entities;
  }
  for (const char c : plain) entities -= c == '&' ? 1 : 0;
  Require(entities == 0, "every ampersand begins a known entity");
  return oru_test::Join(oru_test::XmlDecodeUnits(plain));
}

}  // namespace

std::string TextOfPage(const std::string& html) {
  const std::string page = Without(Without(html, oru_report::kPageStyle), oru_report::kPageScript);
  Require(IsWellFormed(page), "the page is UTF-8");
  std::vector<std::string> open;
  std::string text;
  size_t at = 0;
  while (at < page.size()) {
    const size_t start = page.find('<', at);
    text += page.substr(at, start - at);
    if (start == std::string::npos) break;
    const size_t end = page.find('>', start);
    Require(end != std::string::npos, "a tag ends");
    const std::string tag = page.substr(start + 1, end - start - 1);
    at = end + 1;
    if (!tag.empty() && tag[0] == '/') {
      Require(!open.empty() && open.back() == tag.substr(1), "tags are nested");
      open.pop_back();
      continue;
    }
    Require(IsKnownTag(tag), "a tag of the page's own");
    const std::string name = tag.substr(0, tag.find(' '));
    if (!HasNoEnd(name)) open.push_back(name);
  }
  Require(open.empty(), "every tag is closed");
  return Decoded(text);
}

void CheckTerminalText(const std::string& text, bool color) {
  std::string plain = text;
  if (color) {
    plain.clear();
    for (size_t at = 0; at < text.size(); ++at) {
      if (text[at] != '\x1b') {
        plain += text[at];
        continue;
      }
      const size_t end = text.find('m', at);
      Require(end != std::string::npos && end - at <= 6, "a colour");
      const std::string code = text.substr(at + 1, end - at - 1);
      Require(code[0] == '[' && code.find_first_not_of("0123456789;", 1) == std::string::npos,
              "a colour's numbers");
      at = end;
    }
  }
  Require(IsWellFormed(plain), "terminal text is UTF-8");
  for (const char c : plain) {
    const auto byte = static_cast<unsigned char>(c);
    Require(c == '\n' || c == '\t' || (byte >= 0x20 && byte != 0x7F), "no control characters");
  }
}

}  // namespace oru_fuzz
