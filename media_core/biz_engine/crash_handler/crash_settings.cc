#include "media_core/biz_engine/crash_handler/crash_settings.h"

#include <memory>
#include <utility>

namespace CrashHandler {
namespace {

void FreeAll(const CrashSettings* record) {
  while (record != nullptr) {
    const CrashSettings* const older = record->older;
    delete record;
    record = older;
  }
}

std::atomic<const PublishedSettings*> sLive{nullptr};

}  // namespace

PublishedSettings::PublishedSettings(CrashSettings first)
    : current_(new CrashSettings(std::move(first))) {}

PublishedSettings::~PublishedSettings() {
  delete current_.load();
  FreeAll(retired_.load());
}

// The count goes up before the record is taken: whoever finds it at zero after replacing a record
// knows that nobody has that one. All of it is sequentially consistent for this reason.
PublishedSettings::Reader::Reader(const PublishedSettings& published)
    : published_(published),
      record_((published.readers_.fetch_add(1), published.current_.load())) {}

PublishedSettings::Reader::~Reader() { published_.readers_.fetch_sub(1); }

void PublishedSettings::Change(const std::function<void(CrashSettings*)>& change) {
  const CrashSettings* replaced = nullptr;
  {
    const Reader current(*this);
    const CrashSettings* expected = &*current;
    for (;;) {
      auto changed = std::make_unique<CrashSettings>(*expected);
      changed->older = nullptr;
      change(changed.get());
      const CrashSettings* const seen = expected;
      if (current_.compare_exchange_strong(expected, changed.get())) {
        (void)changed.release();  // published
        replaced = seen;
        break;
      }
    }
  }
  Retire(replaced);
  FreeRetired();
}

void PublishedSettings::Retire(const CrashSettings* record) {
  record->older = retired_.load();
  while (!retired_.compare_exchange_weak(record->older, record)) {
  }
}

void PublishedSettings::FreeRetired() {
  const CrashSettings* const all = retired_.exchange(nullptr);
  if (readers_.load() == 0) return FreeAll(all);
  for (const CrashSettings* record = all; record != nullptr;) {
    const CrashSettings* const older = record->older;
    Retire(record);
    record = older;
  }
}

const PublishedSettings* LiveSettings() { return sLive.load(); }

void SetLiveSettings(const PublishedSettings* settings) { sLive.store(settings); }

}  // namespace CrashHandler
