#include "bench/upload/log_writer.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

namespace upload_bench {
namespace {

const char* const kModules[] = {"media.audio", "media.video", "net.ice",
                                "net.dtls",    "rtc.engine",  "signaling"};
const char* const kLevels[] = {"INFO", "INFO", "DEBUG", "WARN", "ERROR"};

class LineMaker {
 public:
  explicit LineMaker(unsigned seed) : random_(seed) {
    for (int i = 0; i < 600; ++i) {
      std::string word;
      for (unsigned length = 3 + Below(8); length > 0; --length) {
        word += static_cast<char>('a' + Below(26));
      }
      words_.push_back(word);
    }
  }

  void Append(std::string* text) {
    time_ms_ += Below(900);
    char head[128];
    snprintf(head, sizeof head, "[%llu.%03llu][%s][%s] ssrc=%08x seq=%u",
             static_cast<unsigned long long>(time_ms_ / 1000),
             static_cast<unsigned long long>(time_ms_ % 1000), kLevels[Below(5)],
             kModules[Below(6)], Below(0xffffffff) & 0xff0000ffU, Below(65536));
    *text += head;
    for (unsigned count = 3 + Below(6); count > 0; --count) *text += " " + words_[Below(600)];
    *text += " rtt=" + std::to_string(Below(400)) + "ms\n";
  }

 private:
  unsigned Below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

  std::mt19937 random_;
  std::vector<std::string> words_;
  uint64_t time_ms_ = 1700000000000;
};

}  // namespace

bool WriteLogs(const std::string& folder, uint64_t bytes, unsigned files, unsigned seed) {
  LineMaker lines(seed);
  for (unsigned i = 0; i < files; ++i) {
    const std::string subfolder = folder + "/" + std::to_string(i % 20);
    std::filesystem::create_directories(subfolder);
    std::string text;
    while (text.size() < bytes / files) lines.Append(&text);
    std::ofstream file(subfolder + "/" + std::to_string(i) + ".log", std::ios::binary);
    if (!file.write(text.data(), static_cast<std::streamsize>(text.size())).flush()) return false;
  }
  return true;
}

}  // namespace upload_bench
