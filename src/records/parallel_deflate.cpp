#include "records/parallel_deflate.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace kestrav::records {
namespace {

// Deflate blocks: pigz's size, each deflated with the window's worth of data before it.
constexpr std::size_t kBlockBytes = kDeflateBlockBytes;
constexpr std::size_t kDictionaryBytes = 32 * 1024;
// Room past deflate's bound for the empty stored block that ends a block's piece.
constexpr std::size_t kSyncFlushBytes = 16;
// Blocks in flight per thread: one being deflated and one waiting for it, so that no thread
// waits while the calling thread reads and writes.
constexpr std::size_t kBlocksPerThread = 2;

// One block of a member's data and the piece of the deflate stream it becomes.
struct DeflateBlock {
  // The 32 KiB before the block (when it has a dictionary), then the block's own bytes.
  std::vector<unsigned char> input;
  bool has_dictionary = false;
  std::size_t size = 0;
  bool last = false;
  // Written by the thread that deflates the block.
  std::vector<unsigned char> piece;
  std::size_t piece_size = 0;
  uLong crc = 0;
  int data_type = Z_UNKNOWN;
  bool deflated = false;
  // Guarded by the deflater's mutex.
  bool finished = false;

  unsigned char* data() { return input.data() + kDictionaryBytes; }
};

// A raw deflate stream of the archive's settings, reused block after block.
class BlockDeflater {
 public:
  BlockDeflater(int level, int memory_level) {
    ready_ = deflateInit2(&stream_, level, Z_DEFLATED, -MAX_WBITS, memory_level,
                          Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~BlockDeflater() {
    if (ready_) deflateEnd(&stream_);
  }
  BlockDeflater(const BlockDeflater&) = delete;
  BlockDeflater& operator=(const BlockDeflater&) = delete;

  // Deflates the block into its piece: a sync flush ends every block but the last, so the
  // pieces join byte by byte into one stream; the last one finishes the stream.
  bool Deflate(DeflateBlock& block) {
    if (!ready_ || deflateReset(&stream_) != Z_OK) return false;
    if (block.has_dictionary &&
        deflateSetDictionary(&stream_, block.input.data(), kDictionaryBytes) != Z_OK) {
      return false;
    }
    stream_.next_in = block.data();
    stream_.avail_in = static_cast<uInt>(block.size);
    block.piece.resize(deflateBound(&stream_, block.size) + kSyncFlushBytes);
    const int flush = block.last ? Z_FINISH : Z_SYNC_FLUSH;
    int status = Z_OK;
    do {
      if (stream_.total_out == block.piece.size()) block.piece.resize(2 * block.piece.size());
      stream_.next_out = block.piece.data() + stream_.total_out;
      stream_.avail_out = static_cast<uInt>(block.piece.size() - stream_.total_out);
      status = deflate(&stream_, flush);
    } while (status == Z_OK && stream_.avail_out == 0);
    // After a sync flush that filled the piece exactly, the next call finds nothing to do.
    const bool done = block.last ? status == Z_STREAM_END : status == Z_OK || status == Z_BUF_ERROR;
    if (!done) return false;
    block.piece_size = stream_.total_out;
    block.crc = crc32(crc32(0, nullptr, 0), block.data(), static_cast<uInt>(block.size));
    block.data_type = stream_.data_type;
    return true;
  }

 private:
  z_stream stream_{};
  bool ready_ = false;
};

// Deflates a member's blocks on worker threads, in a fixed ring of blocks: a few per thread, the
// one being read and the one held until the next is read. The calling thread prepares block after
// block and takes them back finished, in order; a block's place in the ring is free again once it
// was taken back.
class ParallelDeflater {
 public:
  ParallelDeflater(unsigned threads, int level, int memory_level)
      : threads_(threads),
        level_(level),
        memory_level_(memory_level),
        ring_(kBlocksPerThread * threads + 2) {}
  ~ParallelDeflater() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    work_ready_.notify_all();
    for (std::thread& worker : workers_) worker.join();
  }
  ParallelDeflater(const ParallelDeflater&) = delete;
  ParallelDeflater& operator=(const ParallelDeflater&) = delete;

  std::size_t capacity() const { return ring_.size(); }

  // The block with this index, emptied; the block capacity() before it must be taken back.
  DeflateBlock& Prepare(std::uint64_t index) {
    DeflateBlock& block = Slot(index);
    block.input.resize(kDictionaryBytes + kBlockBytes);
    block.has_dictionary = false;
    block.size = 0;
    block.last = false;
    block.finished = false;
    return block;
  }

  // Hands the block with this index, the one after the last handed, to the workers. A member in
  // one block is deflated here: no thread is worth starting for it.
  void Submit(std::uint64_t index) {
    DeflateBlock& block = Slot(index);
    if (!started_ && !(index == 0 && block.last)) StartWorkers();
    if (workers_.empty()) {
      if (!own_deflater_) own_deflater_ = std::make_unique<BlockDeflater>(level_, memory_level_);
      block.deflated = own_deflater_->Deflate(block);
      block.finished = true;
      return;
    }
    {
      std::lock_guard lock(mutex_);
      submitted_ = index + 1;
    }
    work_ready_.notify_one();
  }

  // Waits until the block with this index is deflated.
  DeflateBlock& Finished(std::uint64_t index) {
    DeflateBlock& block = Slot(index);
    std::unique_lock lock(mutex_);
    block_finished_.wait(lock, [&block] { return block.finished; });
    return block;
  }

 private:
  DeflateBlock& Slot(std::uint64_t index) { return ring_[index % ring_.size()]; }

  void StartWorkers() {
    started_ = true;
    for (unsigned count = 0; count < threads_; ++count) {
      try {
        workers_.emplace_back(&ParallelDeflater::Work, this);
      } catch (const std::system_error&) {
        break;  // with fewer threads, or none, the calling thread deflates
      }
    }
  }

  void Work() {
    BlockDeflater deflater(level_, memory_level_);
    std::unique_lock lock(mutex_);
    for (;;) {
      work_ready_.wait(lock, [this] { return stopping_ || taken_ < submitted_; });
      if (stopping_) return;
      DeflateBlock& block = Slot(taken_++);
      lock.unlock();
      const bool deflated = deflater.Deflate(block);
      lock.lock();
      block.deflated = deflated;
      block.finished = true;
      block_finished_.notify_one();
    }
  }

  const unsigned threads_;
  const int level_;
  const int memory_level_;
  std::vector<DeflateBlock> ring_;
  std::vector<std::thread> workers_;
  bool started_ = false;
  std::unique_ptr<BlockDeflater> own_deflater_;
  std::mutex mutex_;
  std::condition_variable work_ready_;
  std::condition_variable block_finished_;
  std::uint64_t submitted_ = 0;  // blocks handed to the workers
  std::uint64_t taken_ = 0;      // blocks a worker took
  bool stopping_ = false;
};

}  // namespace

std::uint64_t DeflatedSizeBound(std::uint64_t size) {
  const std::uint64_t blocks = std::max<std::uint64_t>(1, (size + kBlockBytes - 1) / kBlockBytes);
  // compressBound is deflate's bound for those settings, with a zlib stream's header and trailer
  // that raw deflate leaves out.
  const std::uint64_t block_overhead = compressBound(kBlockBytes) - kBlockBytes + kSyncFlushBytes;
  return size + blocks * block_overhead;
}

// The calling thread reads each block ahead of handing the one before it to the workers, so that
// the last block is known as the last, and writes the pieces in order as their places in the
// ring are needed again.
int DeflateInParallel(const DeflateOptions& options, const BlockReader& read,
                      const PieceWriter& write) {
  ParallelDeflater deflater(std::max(1u, std::thread::hardware_concurrency()), options.level,
                            options.memory_level);
  std::uint64_t written = 0;
  auto write_next = [&] {
    const DeflateBlock& block = deflater.Finished(written++);
    if (!block.deflated) return kDeflateFailed;
    return write(DeflatedPiece{block.piece.data(), block.piece_size, block.size, block.crc,
                               block.data_type == Z_TEXT, block.last});
  };
  DeflateBlock* block = &deflater.Prepare(0);
  if (!read(block->data(), kBlockBytes, &block->size)) return kDeflateReadFailed;
  std::uint64_t index = 0;
  for (;; ++index) {
    block->last = block->size < kBlockBytes;
    DeflateBlock* next = nullptr;
    if (!block->last) {
      while (index + 1 >= written + deflater.capacity()) {
        if (const int result = write_next(); result != 0) return result;
      }
      next = &deflater.Prepare(index + 1);
      if (!read(next->data(), kBlockBytes, &next->size)) return kDeflateReadFailed;
      next->has_dictionary = true;
      std::copy_n(block->data() + kBlockBytes - kDictionaryBytes, kDictionaryBytes,
                  next->input.data());
      block->last = next->size == 0;
    }
    deflater.Submit(index);
    if (block->last) break;
    block = next;
  }
  while (written <= index) {
    if (const int result = write_next(); result != 0) return result;
  }
  return 0;
}

}  // namespace kestrav::records
