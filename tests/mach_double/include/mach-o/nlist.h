// Stand-in for the platform's <mach-o/nlist.h>: one entry of a 64-bit symbol table.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_O_NLIST_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_O_NLIST_H_

#include <stdint.h>

struct nlist_64 {
  union {
    uint32_t n_strx;
  } n_un;
  uint8_t n_type;
  uint8_t n_sect;
  uint16_t n_desc;
  uint64_t n_value;
};

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_O_NLIST_H_
