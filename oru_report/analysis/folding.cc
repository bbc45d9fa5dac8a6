#include "oru_report/analysis/folding.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "oru_report/analysis/frame_mark.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr size_t kLongestPeriod = 16;
constexpr size_t kFewestTimes = 3;
// Frames in which the handler and the trampoline are looked for.
constexpr size_t kHandlerDepth = 24;

// How often the `period` frames at `at` stand there one behind the other.
size_t TimesAt(const FrameList& frames, size_t at, size_t period) {
  size_t same = 0;
  while (at + period + same < frames.size() && frames[at + same] == frames[at + period + same]) {
    ++same;
  }
  return same / period + 1;
}

size_t HashOf(const FrameList& frames) {
  size_t hash = frames.size();
  for (const Frame* frame : frames)
    hash = (hash ^ reinterpret_cast<size_t>(frame)) * 0x9E3779B97F4A7C15;
  return hash ^ hash >> 32;
}

bool IsTrampoline(std::string_view symbol) {
  return symbol == "_sigtramp" || symbol == "__restore_rt" || symbol == "__kernel_rt_sigreturn";
}

// Where the trampolines of Linux are.
bool IsInLibc(const Frame& frame) {
  const std::string_view image = frame.image();
  for (const std::string_view name : {"libc.so", "libc-", "libpthread", "ld-musl"}) {
    if (StartsWith(image, name)) return true;
  }
  return false;
}

bool IsHandlerFrame(const Report& report, const Frame& frame) {
  return MarkOf(report, frame, frame.symbol()) == Mark::kHandler;
}

// The address behind the handler's last frame in the crashed thread's block, where the handler is
// named even if it is local; 0 when it is not there.
uint64_t TrampolineAddress(const Report& report) {
  const Thread* crashed = report.CrashThread();
  if (crashed == nullptr) return 0;
  const size_t depth = std::min(crashed->frames.size(), kHandlerDepth);
  for (size_t i = depth; i > 0; --i) {
    if (!IsHandlerFrame(report, *crashed->frames[i - 1])) continue;
    return i < crashed->frames.size() ? crashed->frames[i]->address : 0;
  }
  return 0;
}

}  // namespace

std::vector<FrameRun> FoldFrames(const FrameList& frames, size_t from) {
  std::vector<FrameRun> runs;
  size_t plain = from;
  const auto end_plain = [&](size_t at) {
    if (at > plain) runs.push_back({plain, at - plain, 1});
  };
  for (size_t at = from; at < frames.size();) {
    FrameRun best = {at, 1, 1};
    for (size_t period = 1; period <= kLongestPeriod; ++period) {
      const size_t times = TimesAt(frames, at, period);
      // The shortest period that covers the most.
      if (times >= kFewestTimes && times * period > best.times * best.size)
        best = {at, period, times};
    }
    if (best.times < kFewestTimes) {
      ++at;
      continue;
    }
    end_plain(at);
    runs.push_back(best);
    at += best.size * best.times;
    plain = at;
  }
  end_plain(frames.size());
  return runs;
}

std::vector<ThreadGroup> FoldThreads(const Report& report, const Thread* without) {
  std::vector<ThreadGroup> groups;
  std::unordered_multimap<size_t, size_t> by_hash;
  for (const Thread& thread : report.threads) {
    if (&thread == without) continue;
    const size_t hash = HashOf(thread.frames);
    const auto [first, last] = by_hash.equal_range(hash);
    const auto same = std::find_if(first, last, [&](const auto& entry) {
      return groups[entry.second].front()->frames == thread.frames;
    });
    if (same != last) {
      groups[same->second].push_back(&thread);
    } else {
      by_hash.emplace(hash, groups.size());
      groups.push_back({&thread});
    }
  }
  return groups;
}

size_t CountHandlerFrames(const Report& report) {
  const FrameList& frames = report.crash_frames;
  const uint64_t trampoline = TrampolineAddress(report);
  size_t count = 0;
  for (size_t i = 0; i < std::min(frames.size(), kHandlerDepth); ++i) {
    const Frame& frame = *frames[i];
    const bool is_end = trampoline != 0 && frame.address == trampoline;
    if (is_end || IsTrampoline(frame.symbol()) || IsHandlerFrame(report, frame)) count = i + 1;
    if (is_end) break;
  }
  // Where the block was cut off nothing names it, but it is always the next one.
  const bool next = trampoline == 0 && count > 0 && count < frames.size() &&
                    IsHandlerFrame(report, *frames[count - 1]);
  return next && IsInLibc(*frames[count]) ? count + 1 : count;
}

}  // namespace oru_report
