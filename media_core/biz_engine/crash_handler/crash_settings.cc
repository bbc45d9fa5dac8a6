#include "media_core/biz_engine/crash_handler/crash_settings.h"

#include <memory>
#include <utility>

namespace CrashHandler {
namespace {

std::atomic<const PublishedSettings*> sLive{nullptr};

}  // namespace

PublishedSettings::PublishedSettings(CrashSettings first)
    : current_(new Record{std::move(first)}) {}

PublishedSettings::~PublishedSettings() {
  delete current_.load();
  FreeAll(retired_.load());
}

// The count goes up before the record is taken: whoever finds it at zero after replacing a record
// knows that nobody has that one. All of it is sequentially consistent for this reason.
PublishedSettings::Reader::Reader(const PublishedSettings& published)
    : published_(published),
      settings_((published.readers_.fetch_add(1), &published.current_.load()->settings)) {}

PublishedSettings::Reader::~Reader() { published_.readers_.fetch_sub(1); }

void PublishedSettings::Change(const std::function<void(CrashSettings*)>& change) {
  Record* replaced = nullptr;
  {
    // While one reads, what was replaced since is not freed, and its address is no other record's.
    const Reader reading(*this);
    replaced = current_.load();
    std::unique_ptr<Record> changed;
    do {
      changed.reset(new Record{replaced->settings});
      change(&changed->settings);
    } while (!current_.compare_exchange_strong(replaced, changed.get()));
    (void)changed.release();  // published
  }
  Retire(replaced);
  FreeRetired();
}

int PublishedSettings::WaitingForTesting() const {
  int count = 0;
  for (const Record* record = retired_.load(); record != nullptr; record = record->older) ++count;
  return count;
}

void PublishedSettings::FreeAll(Record* record) {
  while (record != nullptr) {
    Record* const older = record->older;
    delete record;
    record = older;
  }
}

void PublishedSettings::Retire(Record* record) {
  record->older = retired_.load();
  while (!retired_.compare_exchange_weak(record->older, record)) {
  }
}

void PublishedSettings::FreeRetired() {
  Record* const all = retired_.exchange(nullptr);
  if (readers_.load() == 0) return FreeAll(all);
  for (Record* record = all; record != nullptr;) {
    Record* const older = record->older;
    Retire(record);
    record = older;
  }
}

const PublishedSettings* LiveSettings() { return sLive.load(); }

void SetLiveSettings(const PublishedSettings* settings) { sLive.store(settings); }

}  // namespace CrashHandler
