#include "media_core/biz_engine/crash_handler/dying/thrown_exception.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <typeinfo>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

// Catching the exception again would say what it is, but takes memory of the heap. The records that
// a compiler leaves of a class's bases are the same with every compiler and runtime (the C++ ABI
// for Itanium, 2.9.5), so they are read instead.
namespace CrashHandler {
namespace {

struct SingleBase {
  std::type_info type;
  const std::type_info* base;
};

struct BaseEntry {
  const std::type_info* type;
  long offset_and_flags;
};
constexpr long kIsVirtual = 1;
constexpr int kOffsetShift = 8;

struct ManyBases {
  std::type_info type;
  unsigned flags;
  unsigned count;
  BaseEntry bases[1];
};

constexpr char kSingleBase[] = "N10__cxxabiv120__si_class_type_infoE";
constexpr char kManyBases[] = "N10__cxxabiv121__vmi_class_type_infoE";
// No class is derived so often.
constexpr int kMaxDepth = 64;

bool IsKind(const std::type_info& type, const char* kind) {
  return strcmp(typeid(type).name(), kind) == 0;
}

const char* BaseAt(const char* object, const BaseEntry& base) {
  long offset = base.offset_and_flags >> kOffsetShift;
  // Of a virtual base it is where the table of virtual functions has the offset.
  if ((base.offset_and_flags & kIsVirtual) != 0) {
    const char* table = nullptr;
    memcpy(&table, object, sizeof table);
    memcpy(&offset, table + offset, sizeof offset);
  }
  return object + offset;
}

// The std::exception in an object of the type; null when there is none.
const char* FindStdException(const std::type_info& type, const char* object, int depth = 0) {
  if (type == typeid(std::exception)) return object;
  if (depth == kMaxDepth) return nullptr;
  if (IsKind(type, kSingleBase)) {
    const std::type_info* base = reinterpret_cast<const SingleBase*>(&type)->base;
    return FindStdException(*base, object, depth + 1);
  }
  if (!IsKind(type, kManyBases)) return nullptr;
  const auto& many = *reinterpret_cast<const ManyBases*>(&type);
  for (unsigned i = 0; i < many.count; ++i) {
    const BaseEntry& base = many.bases[i];
    const char* const found = FindStdException(*base.type, BaseAt(object, base), depth + 1);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// Null when there is none, also for one of another language. A pointer to it is all that the
// language's own pointer to an exception holds.
const char* ThrownObject() {
  const std::exception_ptr exception = std::current_exception();
  static_assert(sizeof exception == sizeof(const char*));
  const char* object = nullptr;
  memcpy(&object, static_cast<const void*>(&exception), sizeof object);
  return object;
}

void CopyWords(const char* from, char* words, size_t room) {
  size_t length = 0;
  while (length < room - 1 && machine::mach_copyMem(from + length, words + length, 1) == 0 &&
         words[length] != '\0') {
    ++length;
  }
  words[length] = '\0';
}

}  // namespace

const char* TypeOfThrown() {
  if (ThrownObject() == nullptr) return nullptr;
  const std::type_info* const type = abi::__cxa_current_exception_type();
  return type != nullptr ? type->name() : nullptr;
}

void CopyWordsOfThrown(char* words, size_t room) {
  words[0] = '\0';
  if (TypeOfThrown() == nullptr) return;
  const char* const object = FindStdException(*abi::__cxa_current_exception_type(), ThrownObject());
  if (object == nullptr) return;
  const char* const what = reinterpret_cast<const std::exception*>(object)->what();
  if (what != nullptr) CopyWords(what, words, room);
}

}  // namespace CrashHandler
