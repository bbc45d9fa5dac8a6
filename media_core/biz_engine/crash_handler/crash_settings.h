// What the host has set: who it is, and where its reports go. Setters publish a new record, readers
// take the one of the moment; nobody waits for anybody, whatever a crash, a fork or an exit has
// left behind.
//
// Reading may run in a signal handler; publishing allocates.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_SETTINGS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_SETTINGS_H_

#include <atomic>
#include <functional>
#include <string>

#include "media_core/biz_engine/crash_handler/report/report_words.h"

namespace CrashHandler {

// Immutable once published.
struct CrashSettings {
  std::string dump_dir;  // empty: the default
  std::string app_id = kUnknownApp;
  std::string session_id;
  std::string sdk_version = "1.0.dev";
  std::string extra_info;
};

class PublishedSettings {
 private:
  struct Record;

 public:
  explicit PublishedSettings(CrashSettings first);
  // No reader may be left.
  ~PublishedSettings();
  PublishedSettings(const PublishedSettings&) = delete;
  PublishedSettings& operator=(const PublishedSettings&) = delete;

  // The record of the moment; it stays as it is for the life of this object. Does not wait.
  class Reader {
   public:
    explicit Reader(const PublishedSettings& published);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    const CrashSettings* operator->() const { return settings_; }
    const CrashSettings& operator*() const { return *settings_; }

   private:
    const PublishedSettings& published_;
    const CrashSettings* const settings_;
  };

  // Publishes a copy of the record with the change made to it. `change` is called again when
  // another thread has published meanwhile: no change is lost.
  void Change(const std::function<void(CrashSettings*)>& change);

  // How many replaced records wait for their readers; while no other thread changes anything.
  int WaitingForTesting() const;

 private:
  struct Record {
    CrashSettings settings;
    // The next one that waits for its readers: they never look at it.
    Record* older = nullptr;
  };

  static void FreeAll(Record* record);
  void Retire(Record* record);
  void FreeRetired();

  std::atomic<Record*> current_;
  mutable std::atomic<int> readers_{0};
  // Replaced records that a reader may still have.
  std::atomic<Record*> retired_{nullptr};
};

// The settings of the process's crash handler, for a report; null while there is no handler. For
// the dying side, which must not make one.
const PublishedSettings* LiveSettings();
void SetLiveSettings(const PublishedSettings* settings);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_SETTINGS_H_
