// Stand-in for the platform's <mach-o/dyld.h>: the list of loaded images, which tests fill
// (mach_double.h), and the path of the executable. An index past the end gives null, and a slide
// of 0.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_O_DYLD_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_O_DYLD_H_

#include <mach-o/loader.h>
#include <stdint.h>

extern "C" {
uint32_t _dyld_image_count(void);
const struct mach_header* _dyld_get_image_header(uint32_t image_index);
intptr_t _dyld_get_image_vmaddr_slide(uint32_t image_index);
const char* _dyld_get_image_name(uint32_t image_index);

// The function is called at once for every image there is, then for every one that is added.
void _dyld_register_func_for_add_image(void (*func)(const struct mach_header* mh, intptr_t slide));
void _dyld_register_func_for_remove_image(void (*func)(const struct mach_header* mh,
                                                       intptr_t slide));

// -1, and the size that it takes, where there is no room.
int _NSGetExecutablePath(char* path, uint32_t* room);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_O_DYLD_H_
