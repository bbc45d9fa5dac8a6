// A library that stands for the SDK: its functions carry the word by which crash capture knows
// them.
#ifndef EXAMPLES_HOST_APP_SAMPLE_SDK_H_
#define EXAMPLES_HOST_APP_SAMPLE_SDK_H_

extern "C" {

// Crashes in the named way (crash_deeds.h). Returns 0 when the process survived it, 1 for an
// unknown name.
__attribute__((visibility("default"))) int OruRTCSampleCrash(const char* name, int threads);

}  // extern "C"

#endif  // EXAMPLES_HOST_APP_SAMPLE_SDK_H_
