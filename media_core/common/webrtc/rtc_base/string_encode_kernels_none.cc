// Processors without kernels of their own.
#if !defined(__x86_64__)

#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {
namespace string_encode_internal {

const EncodeKernels& BestKernels() { return kPlainKernels; }

std::vector<const EncodeKernels*> SupportedKernels() { return {&kPlainKernels}; }

}  // namespace string_encode_internal
}  // namespace rtc

#endif  // !defined(__x86_64__)
