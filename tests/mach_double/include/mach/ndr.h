// Stand-in for the platform's <mach/ndr.h>: how a message says in which representation its data is.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_NDR_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_NDR_H_

typedef struct {
  unsigned char mig_vers;
  unsigned char if_vers;
  unsigned char reserved1;
  unsigned char mig_encoding;
  unsigned char int_rep;
  unsigned char char_rep;
  unsigned char float_rep;
  unsigned char reserved2;
} NDR_record_t;

extern "C" NDR_record_t NDR_record;

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_NDR_H_
