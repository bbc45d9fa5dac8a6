// Kernels of x86_64: SSSE3 in blocks of 16 bytes, and AVX2 in blocks of 32 where that pays. Which
// set runs is decided once, by what the processor offers; what is left behind the last block goes
// to the plain kernels. Loads and stores stay inside the source and the room.
#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

#define ORU_SSSE3 __attribute__((target("ssse3,popcnt")))
#define ORU_AVX2 __attribute__((target("avx2,popcnt")))

namespace rtc {
namespace string_encode_internal {

namespace {

constexpr size_t kBlock = 16;

__m128i Load(const char* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }

void Store(char* to, __m128i bytes) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes); }

unsigned MaskOf(__m128i bytes) { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); }

// ---- Hexadecimal ----

__m128i Digits() { return Load("0123456789abcdef"); }

ORU_SSSE3 void HexEncodeSsse3(char* out, const char* in, size_t n) {
  const __m128i low_bits = _mm_set1_epi8(15);
  const __m128i digits = Digits();
  size_t i = 0;
  for (; i + kBlock <= n; i += kBlock) {
    const __m128i bytes = Load(in + i);
    const __m128i high =
        _mm_shuffle_epi8(digits, _mm_and_si128(_mm_srli_epi16(bytes, 4), low_bits));
    const __m128i low = _mm_shuffle_epi8(digits, _mm_and_si128(bytes, low_bits));
    Store(out + 2 * i, _mm_unpacklo_epi8(high, low));
    Store(out + 2 * i + kBlock, _mm_unpackhi_epi8(high, low));
  }
  kPlainKernels.hex_encode(out + 2 * i, in + i, n - i);
}

ORU_AVX2 void HexEncodeAvx2(char* out, const char* in, size_t n) {
  const __m256i low_bits = _mm256_set1_epi8(15);
  const __m256i digits = _mm256_broadcastsi128_si256(Digits());
  size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
    // The unpacking works within halves: bytes 0-7 and 16-23 go to the low half's partners first.
    bytes = _mm256_permute4x64_epi64(bytes, 0xD8);
    const __m256i high =
        _mm256_shuffle_epi8(digits, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), low_bits));
    const __m256i low = _mm256_shuffle_epi8(digits, _mm256_and_si256(bytes, low_bits));
    auto* const to = reinterpret_cast<__m256i*>(out + 2 * i);
    _mm256_storeu_si256(to, _mm256_unpacklo_epi8(high, low));
    _mm256_storeu_si256(to + 1, _mm256_unpackhi_epi8(high, low));
  }
  HexEncodeSsse3(out + 2 * i, in + i, n - i);
}

// The values of hexadecimal digits (16 and above, as a byte, for anything else). Letters beyond F
// are left to the plain kernel: they are legal, and rare.
//  - Digits: ch - '0' as an unsigned byte, above 9 for all others.
//  - Letters: (ch | 0x20) - 'a' + 10, saturated upwards so that only a to f stay below 16.
__m128i HexValues(__m128i chars) {
  const __m128i digit = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, _mm_set1_epi8(9)), digit);
  const __m128i letter = _mm_sub_epi8(_mm_or_si128(chars, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i value = _mm_adds_epu8(letter, _mm_set1_epi8(10));
  return _mm_or_si128(_mm_and_si128(is_digit, digit), _mm_andnot_si128(is_digit, value));
}

// Whether all bytes are below 16.
bool AllDigits(__m128i values) {
  return MaskOf(_mm_cmpeq_epi8(_mm_min_epu8(values, _mm_set1_epi8(15)), values)) == 0xFFFF;
}

ORU_SSSE3 size_t HexDecodeSsse3(char* out, const char* in, size_t pairs) {
  // high * 16 + low in every 16-bit lane.
  const __m128i weights = _mm_set1_epi16(0x0110);
  size_t done = 0;
  while (done < pairs) {
    for (; done + kBlock <= pairs; done += kBlock) {
      const __m128i first = HexValues(Load(in + 2 * done));
      const __m128i second = HexValues(Load(in + 2 * done + kBlock));
      if (!AllDigits(_mm_max_epu8(first, second))) break;
      Store(out + done, _mm_packus_epi16(_mm_maddubs_epi16(first, weights),
                                         _mm_maddubs_epi16(second, weights)));
    }
    const size_t next = pairs - done < kBlock ? pairs - done : kBlock;
    const size_t good = kPlainKernels.hex_decode(out + done, in + 2 * done, next);
    done += good;
    if (good < next) break;
  }
  return done;
}

ORU_AVX2 __m256i HexValues256(__m256i chars) {
  const __m256i digit = _mm256_sub_epi8(chars, _mm256_set1_epi8('0'));
  const __m256i is_digit = _mm256_cmpeq_epi8(_mm256_min_epu8(digit, _mm256_set1_epi8(9)), digit);
  const __m256i letter =
      _mm256_sub_epi8(_mm256_or_si256(chars, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
  const __m256i value = _mm256_adds_epu8(letter, _mm256_set1_epi8(10));
  return _mm256_blendv_epi8(value, digit, is_digit);
}

ORU_AVX2 size_t HexDecodeAvx2(char* out, const char* in, size_t pairs) {
  const __m256i weights = _mm256_set1_epi16(0x0110);
  const __m256i largest = _mm256_set1_epi8(15);
  size_t done = 0;
  for (; done + 32 <= pairs; done += 32) {
    const auto* const from = reinterpret_cast<const __m256i*>(in + 2 * done);
    const __m256i first = HexValues256(_mm256_loadu_si256(from));
    const __m256i second = HexValues256(_mm256_loadu_si256(from + 1));
    const __m256i highest = _mm256_max_epu8(first, second);
    const __m256i good = _mm256_cmpeq_epi8(_mm256_min_epu8(highest, largest), highest);
    if (_mm256_movemask_epi8(good) != -1) break;
    const __m256i packed = _mm256_packus_epi16(_mm256_maddubs_epi16(first, weights),
                                               _mm256_maddubs_epi16(second, weights));
    // The packing worked within halves; put the quarters back in order.
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done),
                        _mm256_permute4x64_epi64(packed, 0xD8));
  }
  return done + HexDecodeSsse3(out + done, in + 2 * done, pairs - done);
}

// ---- Percent-encoding ----

// A character class as two tables of 16 bit sets: a character belongs to it when the set of its low
// half has the bit of its high half. High halves of 8 and above have no bit.
struct ClassTable {
  alignas(16) uint8_t low[16];
};

constexpr ClassTable MakeClassTable(uint8_t flag, const unsigned char (&classes)[128]) {
  ClassTable table = {};
  for (unsigned ch = 0; ch < 128; ++ch) {
    if ((classes[ch] & flag) != 0) {
      table.low[ch & 15] = static_cast<uint8_t>(table.low[ch & 15] | (1U << (ch >> 4)));
    }
  }
  return table;
}

const ClassTable& UrlUnsafeTable() {
  static const ClassTable table = MakeClassTable(kUrlUnsafe, ASCII_CLASS);
  return table;
}

// Bits of the bytes in the class.
ORU_SSSE3 inline unsigned ClassMask(__m128i bytes, __m128i table) {
  const __m128i bits = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i low_bits = _mm_set1_epi8(15);
  const __m128i sets = _mm_shuffle_epi8(table, _mm_and_si128(bytes, low_bits));
  const __m128i bit = _mm_shuffle_epi8(bits, _mm_and_si128(_mm_srli_epi16(bytes, 4), low_bits));
  return ~MaskOf(_mm_cmpeq_epi8(_mm_and_si128(sets, bit), _mm_setzero_si128())) & 0xFFFF;
}

// For four characters, each spread as "%", high digit, low digit, itself: which of the sixteen
// bytes to keep, by the mask of those to encode.
struct SpreadTable {
  alignas(16) uint8_t order[16][16];
};

constexpr SpreadTable MakeSpreadTable() {
  SpreadTable table = {};
  for (unsigned mask = 0; mask < 16; ++mask) {
    unsigned to = 0;
    for (unsigned ch = 0; ch < 4; ++ch) {
      const unsigned first = (mask >> ch & 1U) != 0 ? 0 : 3;
      const unsigned last = first == 0 ? 3 : 4;
      for (unsigned k = first; k < last; ++k) {
        table.order[mask][to++] = static_cast<uint8_t>(4 * ch + k);
      }
    }
    // What is behind is overwritten by the next four.
    while (to < 16) table.order[mask][to++] = 0x80;
  }
  return table;
}

constexpr SpreadTable kSpread = MakeSpreadTable();

// Writes four spread characters; returns the end of what counts.
ORU_SSSE3 inline char* StoreSpread(char* to, __m128i spread, unsigned mask) {
  const __m128i order = Load(reinterpret_cast<const char*>(kSpread.order[mask]));
  Store(to, _mm_shuffle_epi8(spread, order));
  return to + 4 + 2 * static_cast<unsigned>(__builtin_popcount(mask));
}

ORU_SSSE3 inline char* StoreEncoded(char* to, __m128i bytes, unsigned unsafe) {
  const __m128i low_bits = _mm_set1_epi8(15);
  const __m128i digits = Digits();
  const __m128i high = _mm_shuffle_epi8(digits, _mm_and_si128(_mm_srli_epi16(bytes, 4), low_bits));
  const __m128i low = _mm_shuffle_epi8(digits, _mm_and_si128(bytes, low_bits));
  const __m128i percent = _mm_set1_epi8('%');
  const __m128i front_low = _mm_unpacklo_epi8(percent, high);
  const __m128i front_high = _mm_unpackhi_epi8(percent, high);
  const __m128i back_low = _mm_unpacklo_epi8(low, bytes);
  const __m128i back_high = _mm_unpackhi_epi8(low, bytes);
  to = StoreSpread(to, _mm_unpacklo_epi16(front_low, back_low), unsafe & 15);
  to = StoreSpread(to, _mm_unpackhi_epi16(front_low, back_low), unsafe >> 4 & 15);
  to = StoreSpread(to, _mm_unpacklo_epi16(front_high, back_high), unsafe >> 8 & 15);
  return StoreSpread(to, _mm_unpackhi_epi16(front_high, back_high), unsafe >> 12);
}

// Adds what the plain kernel makes of the rest.
Progress Finish(Progress (*plain)(char*, size_t, const char*, size_t), Progress done, char* out,
                size_t room, const char* in, size_t n) {
  const Progress rest =
      plain(out + done.written, room - done.written, in + done.read, n - done.read);
  return {done.read + rest.read, done.written + rest.written};
}

ORU_SSSE3 Progress UrlEncodeSsse3(char* out, size_t room, const char* in, size_t n) {
  // Three blocks' worth of output, and the last store's reach behind it.
  constexpr size_t kReach = 4 * kBlock;
  const __m128i table = Load(reinterpret_cast<const char*>(UrlUnsafeTable().low));
  Progress done = {0, 0};
  while (n - done.read >= kBlock && room - done.written >= kReach) {
    const __m128i bytes = Load(in + done.read);
    const unsigned unsafe = ClassMask(bytes, table);
    done.read += kBlock;
    if (unsafe == 0) {
      Store(out + done.written, bytes);
      done.written += kBlock;
    } else {
      done.written = static_cast<size_t>(StoreEncoded(out + done.written, bytes, unsafe) - out);
    }
  }
  return Finish(kPlainKernels.url_encode, done, out, room, in, n);
}

// Values of digits and letters modulo 256 where `valid`; anything elsewhere.
struct DigitBytes {
  __m128i values;
  __m128i valid;
};

DigitBytes DigitValues(__m128i chars) {
  const __m128i digit = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, _mm_set1_epi8(9)), digit);
  const __m128i letter = _mm_sub_epi8(_mm_or_si128(chars, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i is_letter = _mm_cmpeq_epi8(_mm_min_epu8(letter, _mm_set1_epi8(25)), letter);
  const __m128i letter_value = _mm_add_epi8(letter, _mm_set1_epi8(10));
  const __m128i values =
      _mm_or_si128(_mm_and_si128(is_digit, digit), _mm_andnot_si128(is_digit, letter_value));
  return {values, _mm_or_si128(is_digit, is_letter)};
}

// For eight bytes: the order that closes the gaps, by the mask of the bytes to drop.
struct CloseTable {
  alignas(16) uint8_t order[256][8];
};

constexpr CloseTable MakeCloseTable() {
  CloseTable table = {};
  for (unsigned drop = 0; drop < 256; ++drop) {
    unsigned to = 0;
    for (unsigned ch = 0; ch < 8; ++ch) {
      if ((drop >> ch & 1U) == 0) table.order[drop][to++] = static_cast<uint8_t>(ch);
    }
    while (to < 8) table.order[drop][to++] = 0x80;
  }
  return table;
}

constexpr CloseTable kClose = MakeCloseTable();

// Writes the low eight bytes without those to drop (and up to eight bytes more); returns their end.
ORU_SSSE3 inline char* StoreClosed(char* to, __m128i bytes, unsigned drop) {
  const __m128i order = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kClose.order[drop]));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(bytes, order));
  return to + 8 - static_cast<unsigned>(__builtin_popcount(drop));
}

ORU_SSSE3 Progress UrlDecodeSsse3(char* out, size_t room, const char* in, size_t n) {
  Progress done = {0, 0};
  // Escapes never overlap, as their digits are no percent signs: each byte's fate is its own.
  // `drop` carries the digits that reach into the next block.
  unsigned drop = 0;
  while (n - done.read >= kBlock + 2 && room - done.written >= kBlock) {
    const char* const from = in + done.read;
    __m128i bytes = Load(from);
    const __m128i percent = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('%'));
    const __m128i plus = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('+'));
    // '+' - ' ' is 11.
    bytes = _mm_sub_epi8(bytes, _mm_and_si128(plus, _mm_set1_epi8('+' - ' ')));
    unsigned escapes = MaskOf(percent);
    if (escapes != 0) {
      const DigitBytes high = DigitValues(Load(from + 1));
      const DigitBytes low = DigitValues(Load(from + 2));
      const __m128i start = _mm_and_si128(percent, _mm_and_si128(high.valid, low.valid));
      const __m128i shifted = _mm_and_si128(_mm_slli_epi16(high.values, 4), _mm_set1_epi8(-16));
      const __m128i byte = _mm_or_si128(shifted, low.values);
      bytes = _mm_or_si128(_mm_and_si128(start, byte), _mm_andnot_si128(start, bytes));
      escapes = MaskOf(start);
      drop |= escapes << 1 | escapes << 2;
    }
    done.read += kBlock;
    if ((drop & 0xFFFF) == 0) {
      Store(out + done.written, bytes);
      done.written += kBlock;
    } else {
      char* const half = StoreClosed(out + done.written, bytes, drop & 0xFF);
      char* const end = StoreClosed(half, _mm_srli_si128(bytes, 8), drop >> 8 & 0xFF);
      done.written = static_cast<size_t>(end - out);
    }
    drop >>= 16;
  }
  // At most two digits are still to be skipped.
  done.read += static_cast<unsigned>(__builtin_popcount(drop));
  return Finish(kPlainKernels.url_decode, done, out, room, in, n);
}

// ---- Entities ----

// All ones for the bytes at which copying stops.
__m128i EntityBytes(__m128i bytes) {
  // '&' and '\'' differ in the lowest bit, '<' and '>' in the second.
  const __m128i amp = _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(1)), _mm_set1_epi8('\''));
  const __m128i angle = _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
  const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  return _mm_or_si128(quote, _mm_or_si128(amp, angle));
}

// Fewer bytes than a block, at least half of one: its halves overlap.
size_t CopyOrdinaryHalves(char* out, const char* in, size_t n, unsigned high_mask) {
  for (const size_t i : {size_t{0}, n - kBlock / 2}) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in + i));
    const unsigned stops = MaskOf(EntityBytes(bytes)) | (MaskOf(bytes) & high_mask);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), bytes);
    // The other half is zeros, at which nothing stops.
    if (stops != 0) return i + static_cast<unsigned>(__builtin_ctz(stops));
  }
  return n;
}

size_t CopyOrdinarySse2(char* out, const char* in, size_t n, bool stop_at_high) {
  const unsigned high_mask = stop_at_high ? 0xFFFF : 0;
  size_t i = 0;
  for (; i + kBlock <= n; i += kBlock) {
    const __m128i bytes = Load(in + i);
    const unsigned stops = MaskOf(EntityBytes(bytes)) | (MaskOf(bytes) & high_mask);
    Store(out + i, bytes);
    if (stops != 0) return i + static_cast<unsigned>(__builtin_ctz(stops));
  }
  if (n - i >= kBlock / 2) return i + CopyOrdinaryHalves(out + i, in + i, n - i, high_mask);
  return i + kPlainKernels.copy_ordinary(out + i, in + i, n - i, stop_at_high);
}

// ---- Positions ----

// Bits of the bytes that are `wanted` among the 64 from `from`.
uint64_t MatchMask(const char* from, __m128i wanted) {
  uint64_t mask = 0;
  for (unsigned k = 0; k < 4; ++k) {
    const uint64_t part = MaskOf(_mm_cmpeq_epi8(Load(from + k * kBlock), wanted));
    mask |= part << (k * kBlock);
  }
  return mask;
}

size_t FindAllSse2(uint16_t* out, const char* in, size_t n, char ch) {
  const __m128i wanted = _mm_set1_epi8(ch);
  size_t found = 0;
  size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    for (uint64_t mask = MatchMask(in + i, wanted); mask != 0; mask &= mask - 1) {
      const auto place = static_cast<size_t>(__builtin_ctzll(mask));
      out[found++] = static_cast<uint16_t>(i + place);
    }
  }
  for (; i + kBlock <= n; i += kBlock) {
    unsigned mask = MaskOf(_mm_cmpeq_epi8(Load(in + i), wanted));
    for (; mask != 0; mask &= mask - 1) {
      out[found++] = static_cast<uint16_t>(i + static_cast<unsigned>(__builtin_ctz(mask)));
    }
  }
  for (; i < n; ++i) {
    if (in[i] == ch) out[found++] = static_cast<uint16_t>(i);
  }
  return found;
}

// ---- Choice ----

constexpr EncodeKernels kSsse3Kernels = {"ssse3",        HexEncodeSsse3, HexDecodeSsse3,
                                         UrlEncodeSsse3, UrlDecodeSsse3, CopyOrdinarySse2,
                                         FindAllSse2};
constexpr EncodeKernels kAvx2Kernels = {"avx2",         HexEncodeAvx2,  HexDecodeAvx2,
                                        UrlEncodeSsse3, UrlDecodeSsse3, CopyOrdinarySse2,
                                        FindAllSse2};

// The processor itself is asked: the compiler's own test needs its runtime library, which a
// cross-linked program may lack.
bool HasSsse3() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
  return (c & bit_SSSE3) != 0 && (c & bit_POPCNT) != 0;
}

// Whether the system saves the wide registers when it switches threads.
bool SystemKeepsWideRegisters() {
  constexpr unsigned kSseAndAvxState = 6;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return false;
  unsigned low = 0;
  unsigned high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kSseAndAvxState) == kSseAndAvxState;
}

bool HasAvx2() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (!HasSsse3() || !SystemKeepsWideRegisters()) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
}

}  // namespace

const EncodeKernels& BestKernels() {
  static const EncodeKernels& best = *SupportedKernels().back();
  return best;
}

std::vector<const EncodeKernels*> SupportedKernels() {
  std::vector<const EncodeKernels*> kernels = {&kPlainKernels};
  if (HasSsse3()) kernels.push_back(&kSsse3Kernels);
  if (HasAvx2()) kernels.push_back(&kAvx2Kernels);
  return kernels;
}

}  // namespace string_encode_internal
}  // namespace rtc

#endif  // defined(__x86_64__)
