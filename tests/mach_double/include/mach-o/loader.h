// Stand-in for the platform's <mach-o/loader.h>: the parts of a Mach-O file that a loaded image
// shows.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_O_LOADER_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_O_LOADER_H_

#include <mach/machine.h>
#include <stdint.h>

typedef int vm_prot_t;

struct mach_header {
  uint32_t magic;
  cpu_type_t cputype;
  cpu_subtype_t cpusubtype;
  uint32_t filetype;
  uint32_t ncmds;
  uint32_t sizeofcmds;
  uint32_t flags;
};

struct mach_header_64 {
  uint32_t magic;
  cpu_type_t cputype;
  cpu_subtype_t cpusubtype;
  uint32_t filetype;
  uint32_t ncmds;
  uint32_t sizeofcmds;
  uint32_t flags;
  uint32_t reserved;
};

#define MH_MAGIC 0xfeedface
#define MH_CIGAM 0xcefaedfe
#define MH_MAGIC_64 0xfeedfacf
#define MH_CIGAM_64 0xcffaedfe

#define MH_EXECUTE 0x2
#define MH_DYLIB 0x6
#define MH_BUNDLE 0x8

struct load_command {
  uint32_t cmd;
  uint32_t cmdsize;
};

#define LC_SEGMENT 0x1
#define LC_SYMTAB 0x2
#define LC_SEGMENT_64 0x19
#define LC_UUID 0x1b

#define SEG_TEXT "__TEXT"
#define SEG_LINKEDIT "__LINKEDIT"

struct segment_command {
  uint32_t cmd;
  uint32_t cmdsize;
  char segname[16];
  uint32_t vmaddr;
  uint32_t vmsize;
  uint32_t fileoff;
  uint32_t filesize;
  vm_prot_t maxprot;
  vm_prot_t initprot;
  uint32_t nsects;
  uint32_t flags;
};

struct segment_command_64 {
  uint32_t cmd;
  uint32_t cmdsize;
  char segname[16];
  uint64_t vmaddr;
  uint64_t vmsize;
  uint64_t fileoff;
  uint64_t filesize;
  vm_prot_t maxprot;
  vm_prot_t initprot;
  uint32_t nsects;
  uint32_t flags;
};

struct symtab_command {
  uint32_t cmd;
  uint32_t cmdsize;
  uint32_t symoff;
  uint32_t nsyms;
  uint32_t stroff;
  uint32_t strsize;
};

struct uuid_command {
  uint32_t cmd;
  uint32_t cmdsize;
  uint8_t uuid[16];
};

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_O_LOADER_H_
