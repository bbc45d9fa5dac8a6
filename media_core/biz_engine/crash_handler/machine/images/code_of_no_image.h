// Code that is in no file's image: made at run time.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_CODE_OF_NO_IMAGE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_CODE_OF_NO_IMAGE_H_

namespace CrashHandler::machine {

// Whether no loaded image holds the address. May run in a signal handler, of 10,000 faults a second
// too, and needs less than half a KiB of stack. (On macOS without the loader's lock only after
// PrepareImages.)
bool IsInNoImage(const void* address);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_CODE_OF_NO_IMAGE_H_
