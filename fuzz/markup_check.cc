#include "fuzz/markup_check.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "fuzz/utf8_check.h"
#include "oru_report/render/page_assets.h"

namespace oru_fuzz {
namespace {

// The attributes of a start tag, "" for a switch.
using Attributes = std::map<std::string, std::string>;

// Reads what stands between "<" and ">": a name, then attributes whose values may be quoted.
std::string ReadTag(const std::string& tag, Attributes* attributes) {
  const size_t name_end = std::min(tag.find(' '), tag.size());
  for (size_t at = name_end; at < tag.size();) {
    ++at;
    const size_t end = std::min(tag.find_first_of("= ", at), tag.size());
    const std::string name = tag.substr(at, end - at);
    Require(!name.empty() && name.find_first_of("\"'<") == std::string::npos,
            "an attribute's name");
    at = end;
    std::string value;
    if (at < tag.size() && tag[at] == '=') {
      const bool quoted = tag[++at] == '"';
      const size_t close = quoted ? tag.find('"', ++at) : std::min(tag.find(' ', at), tag.size());
      Require(close != std::string::npos, "an attribute's value ends");
      value = tag.substr(at, close - at);
      at = close + (quoted ? 1 : 0);
    }
    Require(attributes->emplace(name, value).second, "an attribute stands once");
  }
  return tag.substr(0, name_end);
}

// Whether it is one of the tags that the product writes, and can neither act nor load anything.
bool IsKnownTag(const std::string& tag) {
  static const std::set<std::string> names = {
      "!DOCTYPE", "a",      "article", "b",     "body",    "button", "code",   "dd",
      "details",  "footer", "div",     "dl",    "dt",      "h1",     "h2",     "h3",
      "head",     "header", "html",    "input", "kbd",     "label",  "li",     "main",
      "meta",     "nav",    "ol",      "p",     "pre",     "rect",   "script", "section",
      "small",    "span",   "strong",  "style", "summary", "svg",    "table",  "tbody",
      "td",       "text",   "th",      "thead", "title",   "tr",     "ul"};
  static const std::set<std::string> attributes = {
      "aria-hidden", "aria-label", "charset",     "class", "content",    "data-copy", "fill",
      "height",      "hidden",     "href",        "html",  "http-equiv", "id",        "lang",
      "name",        "open",       "placeholder", "role",  "start",      "tabindex",  "title",
      "type",        "value",      "viewBox",     "width", "x",          "y"};
  Attributes found;
  if (names.count(ReadTag(tag, &found)) == 0) return false;
  for (const auto& [name, value] : found) {
    if (attributes.count(name) == 0) return false;
    if (name == "href" && value.substr(0, 1) != "#") return false;
  }
  return true;
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
  Require(plain.find_first_of(">\"'") == std::string::npos, "special characters are entities");
  size_t entities = 0;
  for (const char* entity : {"&lt;", "&gt;", "&amp;", "&apos;", "&quot;"}) {
    for (size_t at = 0; (at = plain.find(entity, at)) != std::string::npos; ++at) ++entities;
  }
  for (const char c : plain) entities -= c == '&' ? 1 : 0;
  Require(entities == 0, "every ampersand begins a known entity");
  return oru_test::Join(oru_test::XmlDecodeUnits(plain));
}

// Nothing that acts without being seen: controls but line ends and tabs, marks of direction.
void CheckVisible(const std::string& text) {
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool control = (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
    Require(!control, "no control characters");
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    Require(byte != 0xC2 || next >= 0xA0, "no C1 characters");
    const std::string three = text.substr(at, 3);
    const bool turns = (three >= "\u202A" && three <= "\u202E") ||
                       (three >= "\u2066" && three <= "\u2069") || three == "\u200F";
    Require(!turns, "no marks of direction");
  }
}

}  // namespace

std::string TextOfPage(const std::string& html) {
  const std::string page = Without(Without(html, oru_report::kPageStyle), oru_report::kPageScript);
  Require(IsWellFormed(page), "the page is UTF-8");
  CheckVisible(page);
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
  CheckVisible(plain);
}

}  // namespace oru_fuzz
