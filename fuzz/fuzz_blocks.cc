// Reads through copies of whole blocks against reads of the source itself.
//
// An input is a byte of choices, one of how many bytes the source has, and reads of five bytes
// each: one of the kind, two of the place, two of the size.
#include <vector>

#include "fuzz/fuzz_source.h"

using oru_fuzz::CountedSource;
using oru_fuzz::Require;

namespace machine = CrashHandler::machine;

namespace {

constexpr size_t kBlocks = 2;
constexpr uint64_t kStarts[] = {0, 0x7f1234567abc, UINT64_MAX - 0x8000, 0xfff};

constexpr size_t kSizeUnit = 97;

// Without a period that divides a block's size.
std::string SourceBytes() {
  std::string bytes(UINT8_MAX * kSizeUnit, '\0');
  for (size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 7 + i / 251 + i / 4096);
  return bytes;
}

// Where the source ends, as far as its reader knows.
uint64_t KnownEnd(uint8_t bits, uint64_t end) {
  switch (bits & 3) {
    case 0:
      return UINT64_MAX;
    case 1:
      return end;
    case 2:  // it has grown since
      return end - end % 1000;
    default:  // it was cut since
      return end + 777 < end ? UINT64_MAX : end + 777;
  }
}

struct Subject {
  CountedSource source;
  uint64_t end;
  machine::BlockCache<kBlocks> cache;

  bool Read(uint64_t position, void* destination, size_t count) {
    return cache.Read(source.source(), position, destination, count, end);
  }
};

// Whether a read leaves all that it needs in blocks: it is small, and its blocks are all there.
bool Keeps(const Subject& subject, uint64_t position, size_t count) {
  const uint64_t first = position - position % machine::kBlockSize;
  const uint64_t from_start = first - subject.source.start();
  return count <= machine::kBlockSize && first >= subject.source.start() &&
         from_start + 2 * machine::kBlockSize <= subject.source.extent() &&
         position <= subject.end && count <= subject.end - position;
}

void CheckRead(Subject* subject, uint64_t position, size_t count) {
  oru_test::GuardedBuffer buffer(count);
  const bool good = subject->Read(position, buffer.data(), count);
  subject->source.RequireReads(3, "reads of the source for one read");
  std::string expected(count, '\0');
  Require(subject->source.Read(position, &expected[0], count) == good, "a read that succeeds");
  Require(buffer.Intact(), "a read stays inside");
  if (!good) return;
  Require(buffer.Text(count) == expected, "what the source has");
  Require(subject->Read(position, buffer.data(), count), "a read again");
  subject->source.RequireReads(Keeps(*subject, position, count) ? 0 : 3, "reads for a read again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t bits = input.Byte();
  static const std::string all = SourceBytes();
  const std::string bytes = all.substr(0, input.Byte() * kSizeUnit);
  const uint64_t start = kStarts[bits >> 2 & 3];
  Subject subject{CountedSource(bytes, start), KnownEnd(bits, start + bytes.size()), {}};
  for (int i = 0; i < 64 && !input.Empty(); ++i) {
    const uint8_t kind = input.Byte();
    const uint64_t position = start + input.Size();
    const size_t count = input.Size();
    if (kind == 0xff) subject.cache.Forget();
    CheckRead(&subject, position, (kind & 1) != 0 ? count % 17 : count % 10000);
  }
  return 0;
}
