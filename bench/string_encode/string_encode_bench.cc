// The string encodings beside Abseil, GLib and libcurl. Each pair does the same work on the same
// input into storage that is kept from round to round where the peer's interface allows it.
// The names are OPERATION/SIDE/VARIANT.
#include <absl/strings/escaping.h>
#include <absl/strings/str_split.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <glib.h>

#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "utils/string_utils.h"
#include "utils/time_utils.h"

namespace {

constexpr size_t kSize = 4096;

// Letters and digits with `percent` of the bytes out of `specials`.
std::string Text(size_t size, unsigned percent, const char* specials) {
  std::mt19937 random(1);
  const size_t count = std::strlen(specials);
  std::string text;
  while (text.size() < size) {
    const auto draw = static_cast<unsigned>(random());
    text += draw % 100 < percent ? specials[(draw >> 8) % count]
                                 : static_cast<char>('a' + (draw >> 8) % 26);
  }
  return text;
}

std::string Bytes() {
  std::mt19937 random(2);
  std::string bytes;
  while (bytes.size() < kSize) bytes += static_cast<char>(random());
  return bytes;
}

constexpr char kUrlSpecials[] = " \"#$%&+,/:;<=>?@[]";
constexpr char kEntities[] = "\"&'<>";

void Finish(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

// Runs a buffer function of the runtime base.
void RunBuffer(benchmark::State& state, rtc::Transform function, const std::string& source) {
  std::vector<char> buffer(source.size() * 6 + 1);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(function(buffer.data(), buffer.size(), source.data(), source.size()));
    benchmark::ClobberMemory();
  }
  Finish(state, source.size());
}

void Memcpy(benchmark::State& state) {
  const std::string source = Bytes();
  std::vector<char> buffer(kSize);
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(buffer.data(), source.data(), kSize);
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  }
  Finish(state, kSize);
}
BENCHMARK(Memcpy)->Name("copy/memcpy");

void HexEncode(benchmark::State& state) { RunBuffer(state, rtc::hex_encode, Bytes()); }
BENCHMARK(HexEncode)->Name("hex_encode/oru/buffer");
void HexEncodeString(benchmark::State& state) {
  const std::string source = Bytes();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(rtc::hex_encode(source));
  Finish(state, kSize);
}
BENCHMARK(HexEncodeString)->Name("hex_encode/oru/string");
void HexEncodeAbsl(benchmark::State& state) {
  const std::string source = Bytes();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(absl::BytesToHexString(source));
  Finish(state, kSize);
}
BENCHMARK(HexEncodeAbsl)->Name("hex_encode/absl");

// Bytes per second of hexadecimal text read, on both sides.
void HexDecode(benchmark::State& state) {
  const std::string source = rtc::hex_encode(Bytes()).substr(0, kSize);
  std::vector<char> buffer(kSize);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(rtc::hex_decode(buffer.data(), buffer.size(), source));
    benchmark::ClobberMemory();
  }
  Finish(state, source.size());
}
BENCHMARK(HexDecode)->Name("hex_decode/oru");
void HexDecodeAbsl(benchmark::State& state) {
  const std::string source = rtc::hex_encode(Bytes()).substr(0, kSize);
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(absl::HexStringToBytes(source));
  Finish(state, source.size());
}
BENCHMARK(HexDecodeAbsl)->Name("hex_decode/absl");

void UrlEncode(benchmark::State& state) {
  RunBuffer(state, rtc::url_encode,
            Text(kSize, static_cast<unsigned>(state.range(0)), kUrlSpecials));
}
BENCHMARK(UrlEncode)->Name("url_encode/oru")->ArgName("specials")->Arg(0)->Arg(20);
void UrlEncodeGlib(benchmark::State& state) {
  const std::string source = Text(kSize, static_cast<unsigned>(state.range(0)), kUrlSpecials);
  for ([[maybe_unused]] auto _ : state) {
    char* text =
        g_uri_escape_bytes(reinterpret_cast<const guint8*>(source.data()), source.size(), "!'()*");
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  Finish(state, source.size());
}
BENCHMARK(UrlEncodeGlib)->Name("url_encode/glib")->ArgName("specials")->Arg(0)->Arg(20);
void UrlEncodeCurl(benchmark::State& state) {
  const std::string source = Text(kSize, static_cast<unsigned>(state.range(0)), kUrlSpecials);
  for ([[maybe_unused]] auto _ : state) {
    char* text = curl_easy_escape(nullptr, source.data(), static_cast<int>(source.size()));
    benchmark::DoNotOptimize(text);
    curl_free(text);
  }
  Finish(state, source.size());
}
BENCHMARK(UrlEncodeCurl)->Name("url_encode/curl")->ArgName("specials")->Arg(0)->Arg(20);

std::string EncodedUrl(unsigned percent) {
  return rtc::s_transform(Text(kSize, percent, kUrlSpecials), rtc::url_encode).substr(0, kSize);
}
void UrlDecode(benchmark::State& state) {
  RunBuffer(state, rtc::url_decode, EncodedUrl(static_cast<unsigned>(state.range(0))));
}
BENCHMARK(UrlDecode)->Name("url_decode/oru")->ArgName("specials")->Arg(0)->Arg(20);
void UrlDecodeCurl(benchmark::State& state) {
  const std::string source = EncodedUrl(static_cast<unsigned>(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    int length = 0;
    char* text =
        curl_easy_unescape(nullptr, source.data(), static_cast<int>(source.size()), &length);
    benchmark::DoNotOptimize(text);
    curl_free(text);
  }
  Finish(state, source.size());
}
BENCHMARK(UrlDecodeCurl)->Name("url_decode/curl")->ArgName("specials")->Arg(0)->Arg(20);
void UrlDecodeGlib(benchmark::State& state) {
  const std::string source = EncodedUrl(static_cast<unsigned>(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    char* text = g_uri_unescape_string(source.c_str(), nullptr);
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  Finish(state, source.size());
}
BENCHMARK(UrlDecodeGlib)->Name("url_decode/glib")->ArgName("specials")->Arg(0)->Arg(20);

void XmlEncode(benchmark::State& state) {
  RunBuffer(state, rtc::xml_encode, Text(kSize, 2, kEntities));
}
BENCHMARK(XmlEncode)->Name("xml_encode/oru");
void HtmlEncode(benchmark::State& state) {
  RunBuffer(state, rtc::html_encode, Text(kSize, 2, kEntities));
}
BENCHMARK(HtmlEncode)->Name("html_encode/oru");
void XmlEncodeGlib(benchmark::State& state) {
  const std::string source = Text(kSize, 2, kEntities);
  for ([[maybe_unused]] auto _ : state) {
    char* text = g_markup_escape_text(source.data(), static_cast<gssize>(source.size()));
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  Finish(state, source.size());
}
BENCHMARK(XmlEncodeGlib)->Name("xml_encode/glib");
BENCHMARK(XmlEncodeGlib)->Name("html_encode/glib");

// 1 MiB of pieces of about `range` bytes; items are pieces.
std::string Pieces(benchmark::State& state) {
  std::mt19937 random(3);
  std::string text;
  while (text.size() < (1U << 20)) {
    text.append(1 + random() % (2 * static_cast<unsigned>(state.range(0)) - 1), 'x');
    text += ',';
  }
  return text;
}
template <typename Split>
void RunSplit(benchmark::State& state, Split cut) {
  const std::string source = Pieces(state);
  size_t pieces = 0;
  for ([[maybe_unused]] auto _ : state) pieces += cut(source);
  state.SetItemsProcessed(static_cast<int64_t>(pieces));
}
void SplitOru(benchmark::State& state) {
  std::vector<std::string> fields;
  RunSplit(state, [&fields](const std::string& text) { return rtc::split(text, ',', &fields); });
}
BENCHMARK(SplitOru)->Name("split/oru")->ArgName("piece")->Arg(8)->Arg(40);
void TokenizeOru(benchmark::State& state) {
  std::vector<std::string> fields;
  RunSplit(state, [&fields](const std::string& text) { return rtc::tokenize(text, ',', &fields); });
}
BENCHMARK(TokenizeOru)->Name("tokenize/oru")->ArgName("piece")->Arg(8)->Arg(40);
void SplitStringOru(benchmark::State& state) {
  RunSplit(state, [](const std::string& text) {
    const auto fields = tessik::utils::splitString(text, ',');
    benchmark::DoNotOptimize(fields.data());
    return fields.size();
  });
}
BENCHMARK(SplitStringOru)->Name("splitString/oru")->ArgName("piece")->Arg(8)->Arg(40);
void SplitStringSetOru(benchmark::State& state) {
  RunSplit(state, [](const std::string& text) {
    const auto fields = tessik::utils::splitString(text, ",;", false);
    benchmark::DoNotOptimize(fields.data());
    return fields.size();
  });
}
BENCHMARK(SplitStringSetOru)->Name("splitString_set/oru")->ArgName("piece")->Arg(8)->Arg(40);
void SplitAbsl(benchmark::State& state) {
  RunSplit(state, [](const std::string& text) {
    const std::vector<std::string> fields = absl::StrSplit(text, ',');
    benchmark::DoNotOptimize(fields.data());
    return fields.size();
  });
}
BENCHMARK(SplitAbsl)->Name("split/absl")->ArgName("piece")->Arg(8)->Arg(40);
BENCHMARK(SplitAbsl)->Name("splitString/absl")->ArgName("piece")->Arg(8)->Arg(40);
void TokenizeAbsl(benchmark::State& state) {
  RunSplit(state, [](const std::string& text) {
    const std::vector<std::string> fields = absl::StrSplit(text, ',', absl::SkipEmpty());
    benchmark::DoNotOptimize(fields.data());
    return fields.size();
  });
}
BENCHMARK(TokenizeAbsl)->Name("tokenize/absl")->ArgName("piece")->Arg(8)->Arg(40);
void SplitAbslSet(benchmark::State& state) {
  RunSplit(state, [](const std::string& text) {
    const std::vector<std::string> fields = absl::StrSplit(text, absl::ByAnyChar(",;"));
    benchmark::DoNotOptimize(fields.data());
    return fields.size();
  });
}
BENCHMARK(SplitAbslSet)->Name("splitString_set/absl")->ArgName("piece")->Arg(8)->Arg(40);

void UtcTimeOru(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(tessik::utils::GetUTCTimeString(0));
  }
}
void UtcTimeStrftime(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    const time_t now = time(nullptr);
    std::tm utc;
    gmtime_r(&now, &utc);
    char text[32];
    const size_t size = strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &utc);
    benchmark::DoNotOptimize(std::string(text, size));
  }
}
BENCHMARK(UtcTimeOru)->Name("utc_time_string/oru");
BENCHMARK(UtcTimeStrftime)->Name("utc_time_string/strftime");

// Sixteen bytes: what a query's value or an attribute is.
void ShortUrlDecode(benchmark::State& state) {
  RunBuffer(state, rtc::url_decode, "name%20of%20a+it");
}
void ShortXmlEncode(benchmark::State& state) {
  RunBuffer(state, rtc::xml_encode, "fish & chips 123");
}
void ShortHtmlEncode(benchmark::State& state) {
  RunBuffer(state, rtc::html_encode, "fish & chips 123");
}
BENCHMARK(ShortUrlDecode)->Name("url_decode_16/oru");
BENCHMARK(ShortXmlEncode)->Name("xml_encode_16/oru");
BENCHMARK(ShortHtmlEncode)->Name("html_encode_16/oru");
void ShortUrlDecodeCurl(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    int length = 0;
    char* text = curl_easy_unescape(nullptr, "name%20of%20a+it", 16, &length);
    benchmark::DoNotOptimize(text);
    curl_free(text);
  }
}
BENCHMARK(ShortUrlDecodeCurl)->Name("url_decode_16/curl");
void ShortXmlEncodeGlib(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    char* text = g_markup_escape_text("fish & chips 123", 16);
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
}
BENCHMARK(ShortXmlEncodeGlib)->Name("xml_encode_16/glib");
BENCHMARK(ShortXmlEncodeGlib)->Name("html_encode_16/glib");
void ShortTokenize(benchmark::State& state) {
  const std::string source = "alpha,beta,gamma";
  for ([[maybe_unused]] auto _ : state) {
    std::vector<std::string> fields;
    rtc::tokenize(source, ',', &fields);
    benchmark::DoNotOptimize(fields.data());
  }
}
BENCHMARK(ShortTokenize)->Name("tokenize_16/oru");
void ShortTokenizeAbsl(benchmark::State& state) {
  const std::string source = "alpha,beta,gamma";
  for ([[maybe_unused]] auto _ : state) {
    const std::vector<std::string> fields = absl::StrSplit(source, ',', absl::SkipEmpty());
    benchmark::DoNotOptimize(fields.data());
  }
}
BENCHMARK(ShortTokenizeAbsl)->Name("tokenize_16/absl");

}  // namespace

BENCHMARK_MAIN();
