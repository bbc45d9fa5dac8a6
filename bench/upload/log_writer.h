// Log files to upload, the same for the same numbers.
#ifndef BENCH_UPLOAD_LOG_WRITER_H_
#define BENCH_UPLOAD_LOG_WRITER_H_

#include <cstdint>
#include <string>

namespace upload_bench {

// Writes `files` files of together at least `bytes` bytes below `folder`, twenty folders of them.
// Lines look like those of a real-time-communication SDK; deflate makes a third of them. False when
// the disk is full.
bool WriteLogs(const std::string& folder, uint64_t bytes, unsigned files, unsigned seed);

}  // namespace upload_bench

#endif  // BENCH_UPLOAD_LOG_WRITER_H_
