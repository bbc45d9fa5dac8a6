#include <elf.h>
#include <sys/mman.h>

#include <string>
#include <vector>

#include "oru_report/symbols/macho_as_elf.h"
#include "oru_report/symbols/macho_file.h"

namespace oru_report {
namespace {

// Room for the headers; a whole number of pages of any size in use.
constexpr size_t kHeaderRoom = size_t{64} << 10;
constexpr size_t kMaxSections = 64;

// "__debug_line" is ".debug_line". Names are cut to 16 bytes.
std::string ElfName(std::string_view name) {
  const std::string text = "." + std::string(name.substr(std::min<size_t>(2, name.size())));
  return text == ".debug_str_offs" ? ".debug_str_offsets" : text;
}

class Headers {
 public:
  Headers() : names_(1, '\0'), sections_(1) {}

  void Add(const std::string& name, uint32_t type, uint64_t offset, uint64_t size) {
    Elf64_Shdr section = {};
    section.sh_name = static_cast<uint32_t>(names_.size());
    section.sh_type = type;
    section.sh_offset = offset;
    section.sh_size = size;
    section.sh_addralign = 1;
    sections_.push_back(section);
    names_ += name + '\0';
  }

  size_t count() const { return sections_.size(); }

  // Writes all of it to `memory`, which has kHeaderRoom bytes of zero.
  void Write(char* memory) {
    const size_t table = sizeof(Elf64_Ehdr);
    const size_t names = table + (sections_.size() + 1) * sizeof(Elf64_Shdr);
    Add(".shstrtab", SHT_STRTAB, names, names_.size() + sizeof ".shstrtab");
    Elf64_Ehdr header = {};
    memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_EXEC;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_shoff = table;
    header.e_ehsize = sizeof header;
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = static_cast<uint16_t>(sections_.size());
    header.e_shstrndx = static_cast<uint16_t>(sections_.size() - 1);
    memcpy(memory, &header, sizeof header);
    memcpy(memory + table, sections_.data(), sections_.size() * sizeof(Elf64_Shdr));
    memcpy(memory + names, names_.data(), names_.size());
  }

 private:
  std::string names_;
  std::vector<Elf64_Shdr> sections_;
};

}  // namespace

MachOAsElf::MachOAsElf(int descriptor, const MappedFile& file, const BinarySlice& slice) {
  MachOFile macho;
  const std::string_view image = Part(file.bytes(), slice.offset, slice.size);
  if (!ReadMachOFile(image, &macho)) return;
  Headers headers;
  for (const MachOSection& section : macho.sections) {
    const bool inside = !Part(image, section.offset, section.size).empty();
    if (section.segment != "__DWARF" || !inside || headers.count() > kMaxSections) continue;
    headers.Add(ElfName(section.name), SHT_PROGBITS, kHeaderRoom + slice.offset + section.offset,
                section.size);
  }
  if (headers.count() == 1) return;
  // One stretch of memory, its rear part the file.
  const size_t size = kHeaderRoom + file.bytes().size();
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return;
  void* rear = static_cast<char*>(memory) + kHeaderRoom;
  if (mmap(rear, file.bytes().size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, descriptor,
           0) == MAP_FAILED) {
    munmap(memory, size);
    return;
  }
  data_ = static_cast<char*>(memory);
  size_ = size;
  headers.Write(data_);
}

MachOAsElf::~MachOAsElf() {
  if (data_ != nullptr) munmap(data_, size_);
}

}  // namespace oru_report
