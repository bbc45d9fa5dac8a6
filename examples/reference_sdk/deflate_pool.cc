#include "examples/reference_sdk/deflate_pool.h"

#include <zlib.h>

#include <algorithm>
#include <system_error>

#include "examples/reference_sdk/upload_options.h"

namespace reference_sdk {
namespace {

// Incompressible input grows by 5 bytes per 16 KiB; the ending of a piece takes a few more.
constexpr size_t kOutputBytes = kPieceBytes + kPieceBytes / 1024 + 64;

// A deflate state that is used for one piece after the other.
class Deflater {
 public:
  // Raw deflate: the zip format has its own header and checksum.
  explicit Deflater(int level) {
    ready_ = deflateInit2(&stream_, level, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                          Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~Deflater() {
    if (ready_) deflateEnd(&stream_);
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  void Run(DeflateJob* job) {
    unsigned char* piece = job->input.data() + job->dictionary_size;
    const auto size = static_cast<uInt>(job->piece_size);
    job->crc = crc32(crc32(0, nullptr, 0), piece, size);
    job->ok = ready_ && deflateReset(&stream_) == Z_OK;
    if (!job->ok) return;
    if (job->dictionary_size > 0) {
      deflateSetDictionary(&stream_, job->input.data(), static_cast<uInt>(job->dictionary_size));
    }
    stream_.next_in = piece;
    stream_.avail_in = size;
    stream_.next_out = job->output.data();
    stream_.avail_out = static_cast<uInt>(job->output.size());
    const int result = deflate(&stream_, job->last ? Z_FINISH : Z_SYNC_FLUSH);
    job->ok = result == (job->last ? Z_STREAM_END : Z_OK) && stream_.avail_out > 0;
    job->output_size = job->output.size() - stream_.avail_out;
  }

 private:
  z_stream stream_{};
  bool ready_ = false;
};

}  // namespace

DeflateJob::DeflateJob() : input(kDictionaryBytes + kPieceBytes), output(kOutputBytes) {}

DeflatePool::DeflatePool(unsigned threads, int level) : level_(level) {
  threads_.reserve(threads);
  try {
    while (threads_.size() < threads) threads_.emplace_back(&DeflatePool::RunThread, this);
  } catch (const std::system_error&) {
    // Fewer threads, or none: slower, not wrong.
  }
}

DeflatePool::~DeflatePool() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  work_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void DeflatePool::Submit(DeflateJob* job) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    job->done = false;
    queue_.push_back(job);
  }
  work_.notify_one();
}

void DeflatePool::Wait(DeflateJob* job) {
  if (threads_.empty()) RunQueueHere();
  std::unique_lock<std::mutex> lock(mutex_);
  finished_.wait(lock, [job] { return job->done; });
}

void DeflatePool::RunQueueHere() {
  Deflater deflater(level_);
  for (; !queue_.empty(); queue_.pop_front()) {
    deflater.Run(queue_.front());
    queue_.front()->done = true;
  }
}

void DeflatePool::RunThread() {
  Deflater deflater(level_);
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    work_.wait(lock, [this] { return ending_ || !queue_.empty(); });
    if (queue_.empty()) return;
    DeflateJob* job = queue_.front();
    queue_.pop_front();
    lock.unlock();
    deflater.Run(job);
    lock.lock();
    job->done = true;
    finished_.notify_one();
  }
}

unsigned DeflateThreads(long wanted) {
  if (wanted > 0) return static_cast<unsigned>(wanted);
  return std::clamp(std::thread::hardware_concurrency(), 1U, kMaxAutomaticThreads);
}

}  // namespace reference_sdk
