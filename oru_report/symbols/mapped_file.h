// A file in memory.
#ifndef ORU_REPORT_SYMBOLS_MAPPED_FILE_H_
#define ORU_REPORT_SYMBOLS_MAPPED_FILE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace oru_report {

class MappedFile {
 public:
  // The descriptor stays the caller's and may be closed afterwards. What cannot be mapped is empty.
  explicit MappedFile(int descriptor);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  std::string_view bytes() const { return {data_, size_}; }
  // The memory is the process's own: readers may note down in it what they have unpacked.
  char* writable() const { return data_; }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
};

// Reads a number or record at `at`. False when it is not inside `bytes`.
template <typename Record>
bool ReadRecord(std::string_view bytes, uint64_t at, Record* record) {
  if (at > bytes.size() || bytes.size() - at < sizeof(Record)) return false;
  memcpy(record, bytes.data() + at, sizeof(Record));
  return true;
}

// The `size` bytes at `at`, or an empty text when they are not all inside `bytes`.
inline std::string_view Part(std::string_view bytes, uint64_t at, uint64_t size) {
  if (at > bytes.size() || size > bytes.size() - at) return {};
  return bytes.substr(at, size);
}

// The text that ends with a zero at `at`.
inline std::string_view TextAt(std::string_view strings, uint64_t at) {
  if (at >= strings.size()) return {};
  const std::string_view rest = strings.substr(at);
  return rest.substr(0, rest.find('\0'));
}

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_MAPPED_FILE_H_
