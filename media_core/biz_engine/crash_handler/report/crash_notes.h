// The host's notes for companions: a fixed number of keys with values of a fixed size. Any thread
// sets them without waiting for another, and a reader, whose process may have stopped anywhere,
// finds each of them whole.
//
// A value is written into a record that nobody reads, which then takes the place of the one before
// it. There are more records than keys: as many threads as there are too many may be stopped while
// they write.
//
// All of it may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_NOTES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_NOTES_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/crash_companion.h"

namespace CrashHandler {

struct CrashNote {
  // With terminating zeros; an empty value is no note.
  char key[kMaxCrashNoteKeyBytes + 1];
  char value[kMaxCrashNoteValueBytes + 1];
};

class CrashNotes {
 public:
  constexpr CrashNotes() = default;
  CrashNotes(const CrashNotes&) = delete;
  CrashNotes& operator=(const CrashNotes&) = delete;

  // See SetCrashNote.
  bool Set(const char* key, const char* value);

  // The note at the index, below kMaxCrashNotes, in the order in which the keys came. False when
  // there is none (then none has a greater index either), or when it is replaced again and again.
  bool Read(size_t index, CrashNote* note) const;

 private:
  static constexpr size_t kRecords = 2 * kMaxCrashNotes;
  static constexpr size_t kWords = sizeof(CrashNote) / sizeof(uint64_t);

  struct Record {
    std::atomic<bool> taken{false};
    std::atomic<uint64_t> words[kWords] = {};
  };
  // Of a slot: which record it has, and when it got it, so that no two times are alike. 0 for none.
  using Entry = uint64_t;

  bool TakeRecord(size_t* index);
  void Write(size_t index, const CrashNote& note);
  bool ReadAt(size_t slot, Entry entry, CrashNote* note) const;
  bool HasKey(size_t slot, Entry entry, const char* key) const;

  std::atomic<Entry> slots_[kMaxCrashNotes] = {};
  std::atomic<uint64_t> written_{0};
  Record records_[kRecords] = {};
};

// The process's own.
CrashNotes& TheCrashNotes();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_NOTES_H_
