// Core Foundation's strings, main bundle and boolean preferences. As on the platform none of them
// may be used in a forked child.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "tests/mach_double/failures.h"

struct __CFString {
  std::string text;
  bool borrowed;  // owned by the bundle: not the caller's to release
};
struct __CFBundle {};

const CFAllocatorRef kCFAllocatorDefault = nullptr;

namespace mach_double {
namespace {

struct Preference {
  bool valid;
  bool value;
};

std::mutex preferences_mutex;
bool bundle_exists = true;
std::unique_ptr<__CFString> bundle_identifier;
int live_objects = 0;

const pid_t program = getpid();

void RefuseForkedChild() {
  if (getpid() != program) {
    fputs("Core Foundation in a forked child\n", stderr);
    std::abort();
  }
}

std::map<std::pair<std::string, std::string>, Preference>& Preferences() {
  static auto* const preferences = new std::map<std::pair<std::string, std::string>, Preference>;
  return *preferences;
}

}  // namespace

void SetBundleIdentifier(std::optional<std::string> identifier) {
  const std::lock_guard<std::mutex> lock(preferences_mutex);
  bundle_identifier.reset(identifier ? new __CFString{*identifier, true} : nullptr);
}

void SetMainBundleExists(bool exists) {
  const std::lock_guard<std::mutex> lock(preferences_mutex);
  bundle_exists = exists;
}

void SetBooleanPreference(const std::string& application, const std::string& key,
                          std::optional<bool> value) {
  const std::lock_guard<std::mutex> lock(preferences_mutex);
  if (value) {
    Preferences()[{application, key}] = {true, *value};
  } else {
    Preferences().erase({application, key});
  }
}

void SetInvalidPreference(const std::string& application, const std::string& key) {
  const std::lock_guard<std::mutex> lock(preferences_mutex);
  Preferences()[{application, key}] = {false, false};
}

int LiveObjects() {
  const std::lock_guard<std::mutex> lock(preferences_mutex);
  return live_objects;
}

}  // namespace mach_double

using mach_double::Call;
using mach_double::FailureOf;

extern "C" {

CFStringRef CFStringCreateWithCString(CFAllocatorRef /*allocator*/, const char* text,
                                      CFStringEncoding encoding) {
  mach_double::RefuseForkedChild();
  if (FailureOf(Call::kStringCreate) || encoding != kCFStringEncodingUTF8) return nullptr;
  const std::lock_guard<std::mutex> lock(mach_double::preferences_mutex);
  ++mach_double::live_objects;
  return new __CFString{text, false};
}

void CFRelease(CFTypeRef object) {
  mach_double::RefuseForkedChild();
  const auto* const string = static_cast<CFStringRef>(object);
  const std::lock_guard<std::mutex> lock(mach_double::preferences_mutex);
  --mach_double::live_objects;  // below zero after a release of what was only borrowed
  if (!string->borrowed) delete string;
}

CFBundleRef CFBundleGetMainBundle(void) {
  mach_double::RefuseForkedChild();
  static __CFBundle bundle;
  if (FailureOf(Call::kMainBundle)) return nullptr;
  const std::lock_guard<std::mutex> lock(mach_double::preferences_mutex);
  return mach_double::bundle_exists ? &bundle : nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef /*bundle*/) {
  mach_double::RefuseForkedChild();
  const std::lock_guard<std::mutex> lock(mach_double::preferences_mutex);
  return mach_double::bundle_identifier.get();
}

Boolean CFPreferencesGetAppBooleanValue(CFStringRef key, CFStringRef application, Boolean* valid) {
  mach_double::RefuseForkedChild();
  const std::lock_guard<std::mutex> lock(mach_double::preferences_mutex);
  const auto found = mach_double::Preferences().find({application->text, key->text});
  const bool usable = found != mach_double::Preferences().end() && found->second.valid;
  if (valid) *valid = usable;
  return usable && found->second.value;
}

}  // extern "C"
