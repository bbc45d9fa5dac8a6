// Threads that deflate pieces of files.
//
// A file is cut into pieces that are compressed independently and put together again in order: each
// piece starts with the last 32 KiB before it as its dictionary, so hardly anything is lost, and
// ends on a byte boundary (an empty stored block), so the pieces join to one deflate stream. The
// result does not depend on the number of threads.
#ifndef EXAMPLES_REFERENCE_SDK_DEFLATE_POOL_H_
#define EXAMPLES_REFERENCE_SDK_DEFLATE_POOL_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace reference_sdk {

constexpr size_t kPieceBytes = 256 * 1024;
constexpr size_t kDictionaryBytes = 32 * 1024;

// One piece, with room for its result. The submitter fills in the first block, and owns the job
// again once Wait() returned; between the two it must neither touch nor move it.
struct DeflateJob {
  DeflateJob();

  // The dictionary, then at once the piece. kDictionaryBytes + kPieceBytes long.
  std::vector<unsigned char> input;
  size_t dictionary_size = 0;
  size_t piece_size = 0;
  // The last piece of its file ends the deflate stream. It may be empty.
  bool last = false;

  std::vector<unsigned char> output;
  size_t output_size = 0;
  // Of the piece alone.
  unsigned long crc = 0;
  // False only when memory ran out.
  bool ok = false;

  bool done = false;  // Guarded by the pool's mutex.
};

class DeflatePool {
 public:
  // Starts up to `threads` threads that compress at zlib's `level`. With none (the system may
  // refuse them) Wait() does the work.
  DeflatePool(unsigned threads, int level);
  // Ends the threads; submitted jobs must have been waited for.
  ~DeflatePool();
  DeflatePool(const DeflatePool&) = delete;
  DeflatePool& operator=(const DeflatePool&) = delete;

  // Queues a job. Submit and Wait are called by one thread.
  void Submit(DeflateJob* job);
  // Returns once the job is done.
  void Wait(DeflateJob* job);

 private:
  void RunThread();
  void RunQueueHere();

  const int level_;
  std::mutex mutex_;
  std::condition_variable work_;
  std::condition_variable finished_;
  std::deque<DeflateJob*> queue_;  // Guarded by mutex_.
  bool ending_ = false;            // Guarded by mutex_.
  std::vector<std::thread> threads_;
};

// The number of threads for a wish of `wanted` (0 is one a processor, at most
// kMaxAutomaticThreads).
unsigned DeflateThreads(long wanted);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_DEFLATE_POOL_H_
