#include "oru_report/symbols/mapped_file.h"

#include <sys/mman.h>
#include <sys/stat.h>

namespace oru_report {

MappedFile::MappedFile(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || status.st_size <= 0) return;
  const auto size = static_cast<size_t>(status.st_size);
  void* mapped =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_NORESERVE, descriptor, 0);
  if (mapped == MAP_FAILED) return;
  data_ = static_cast<char*>(mapped);
  size_ = size;
}

MappedFile::~MappedFile() {
  if (data_ != nullptr) munmap(data_, size_);
}

}  // namespace oru_report
