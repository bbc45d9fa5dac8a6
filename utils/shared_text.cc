#include "utils/shared_text.h"

#include <cstring>

namespace tessik::shared {

namespace {

// Membership of every byte value: one look-up a character, however many delimiters there are.
class DelimiterSet {
 public:
  explicit DelimiterSet(const std::string& delims) {
    for (const char ch : delims) member_[static_cast<unsigned char>(ch)] = true;
    if (delims.size() == 1) single_ = &delims[0];
  }

  // The first delimiter in [from, end), or `end`.
  const char* Find(const char* from, const char* end) const {
    if (single_ != nullptr && from != end) {
      const void* found = std::memchr(from, *single_, static_cast<size_t>(end - from));
      return found == nullptr ? end : static_cast<const char*>(found);
    }
    // Four at a time, with one branch that is foreseen ill at the end of a piece.
    for (; end - from >= 4; from += 4) {
      const unsigned first = IsMember(from[0]);
      const unsigned second = IsMember(from[1]);
      const unsigned third = IsMember(from[2]);
      if ((first | second | third | IsMember(from[3])) != 0) {
        return from + (first ^ 1) * (1 + (second ^ 1) * (1 + (third ^ 1)));
      }
    }
    while (from != end && !IsMember(*from)) ++from;
    return from;
  }

 private:
  unsigned IsMember(char ch) const { return member_[static_cast<unsigned char>(ch)]; }

  bool member_[256] = {};
  // The only delimiter, which the C library finds faster.
  const char* single_ = nullptr;
};

const std::string& UrlDelimiters() {
  static const std::string delimiters("?=&");
  return delimiters;
}

bool IsUrlDelimiter(const std::string& token) {
  return token.size() == 1 && UrlDelimiters().find(token[0]) != std::string::npos;
}

// Walks a URL's tokens and collects its parameters; with a key to remove it leaves that one out.
class UrlWalk {
 public:
  // `removed` may be null.
  explicit UrlWalk(const std::string* removed) : removed_(removed) {}

  void Take(const std::string& token) {
    if (IsUrlDelimiter(token)) {
      previous_ = token[0];
    } else if (removed_ != nullptr && name_ == *removed_) {
      name_.clear();
    } else if (previous_ == '?' || previous_ == '&') {
      name_ = token;
    } else if (previous_ == '=') {
      parameters.emplace(name_, token);
    }
  }

  std::map<std::string, std::string> parameters;

 private:
  const std::string* removed_;
  char previous_ = '\0';
  std::string name_;
};

}  // namespace

std::vector<std::string> SplitAtSet(const std::string& text, const std::string& delims,
                                    bool keep_delims) {
  if (text.empty() || delims.empty()) return {text};
  const DelimiterSet set(delims);
  std::vector<std::string> elements;
  const char* begin = text.data();
  const char* const end = begin + text.size();
  for (const char* cut = set.Find(begin, end); cut != end; cut = set.Find(begin, end)) {
    if (cut != begin) elements.emplace_back(begin, cut);
    if (keep_delims) elements.emplace_back(1, *cut);
    begin = cut + 1;
  }
  elements.emplace_back(begin, end);
  return elements;
}

UrlParts ExtractUrlParts(const std::string& url) {
  UrlWalk walk(nullptr);
  for (const std::string& token : SplitAtSet(url, UrlDelimiters(), true)) walk.Take(token);
  return UrlParts(std::string(), std::move(walk.parameters));
}

std::string JoinUrl(const UrlParts& parts) {
  std::string url = parts.first;
  char separator = '?';
  for (const auto& parameter : parts.second) {
    url += separator;
    url += parameter.first;
    url += '=';
    url += parameter.second;
    separator = '&';
  }
  return url;
}

std::string WithoutUrlKey(const std::string& url, const std::string& key) {
  const std::vector<std::string> tokens = SplitAtSet(url, UrlDelimiters(), true);
  UrlWalk walk(&key);
  for (const std::string& token : tokens) walk.Take(token);
  return JoinUrl(UrlParts(tokens.front(), std::move(walk.parameters)));
}

}  // namespace tessik::shared
