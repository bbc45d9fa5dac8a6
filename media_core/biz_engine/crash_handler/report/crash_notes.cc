#include "media_core/biz_engine/crash_handler/report/crash_notes.h"

#include <cstring>

#include "media_core/common/webrtc/rtc_base/utf8_prefix.h"

namespace CrashHandler {
namespace {

constexpr unsigned kIndexBits = 8;
constexpr uint64_t kIndexMask = (uint64_t{1} << kIndexBits) - 1;
// Each round is another thread's new value.
constexpr int kMaxRounds = 1000;

CrashNotes sNotes;

size_t RecordOf(uint64_t entry) { return static_cast<size_t>(entry & kIndexMask) - 1; }

bool MakeNote(const char* key, const char* value, CrashNote* note) {
  if (key == nullptr || *key == '\0') return false;
  const size_t length = strnlen(key, sizeof note->key);
  if (length == sizeof note->key) return false;
  *note = {};
  memcpy(note->key, key, length);
  if (value == nullptr) return true;
  const size_t given = strnlen(value, sizeof note->value);
  memcpy(note->value, value, rtc::Utf8PrefixSize(value, given, kMaxCrashNoteValueBytes));
  return true;
}

}  // namespace

bool CrashNotes::Set(const char* key, const char* value) {
  CrashNote note;
  size_t record = 0;
  if (!MakeNote(key, value, &note) || !TakeRecord(&record)) return false;
  Write(record, note);
  const Entry fresh = (written_.fetch_add(1) + 1) << kIndexBits | (record + 1);
  for (size_t i = 0; i < kMaxCrashNotes; ++i) {
    Entry there = slots_[i].load(std::memory_order_acquire);
    // Slots fill from the first on and never become empty again, so that all threads meet a new key
    // at the same one.
    if (there == 0 && slots_[i].compare_exchange_strong(there, fresh)) return true;
    if (!HasKey(i, there, note.key)) continue;
    const Entry replaced = slots_[i].exchange(fresh);
    records_[RecordOf(replaced)].taken.store(false, std::memory_order_release);
    return true;
  }
  records_[record].taken.store(false, std::memory_order_release);
  return false;
}

bool CrashNotes::Read(size_t index, CrashNote* note) const {
  for (int round = 0; round < kMaxRounds; ++round) {
    const Entry entry = slots_[index].load(std::memory_order_acquire);
    if (entry == 0) return false;
    if (ReadAt(index, entry, note)) return true;
  }
  return false;
}

bool CrashNotes::TakeRecord(size_t* index) {
  for (size_t i = 0; i < kRecords; ++i) {
    if (records_[i].taken.load(std::memory_order_relaxed)) continue;
    if (records_[i].taken.exchange(true, std::memory_order_acquire)) continue;
    *index = i;
    return true;
  }
  return false;
}

void CrashNotes::Write(size_t index, const CrashNote& note) {
  // Who reads a new word here finds that the slot has another entry.
  std::atomic_thread_fence(std::memory_order_release);
  for (size_t i = 0; i < kWords; ++i) {
    uint64_t word = 0;
    memcpy(&word, reinterpret_cast<const char*>(&note) + i * sizeof word, sizeof word);
    records_[index].words[i].store(word, std::memory_order_relaxed);
  }
}

// False when the slot has got another entry meanwhile.
bool CrashNotes::ReadAt(size_t slot, Entry entry, CrashNote* note) const {
  const Record& record = records_[RecordOf(entry)];
  for (size_t i = 0; i < kWords; ++i) {
    const uint64_t word = record.words[i].load(std::memory_order_relaxed);
    memcpy(reinterpret_cast<char*>(note) + i * sizeof word, &word, sizeof word);
  }
  std::atomic_thread_fence(std::memory_order_acquire);
  return slots_[slot].load(std::memory_order_relaxed) == entry;
}

// A slot's key is for ever the same.
bool CrashNotes::HasKey(size_t slot, Entry entry, const char* key) const {
  CrashNote note;
  while (!ReadAt(slot, entry, &note)) entry = slots_[slot].load(std::memory_order_acquire);
  return strcmp(note.key, key) == 0;
}

CrashNotes& TheCrashNotes() { return sNotes; }

}  // namespace CrashHandler
