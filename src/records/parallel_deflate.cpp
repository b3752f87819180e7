#include "records/parallel_deflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace kestrav::records {
namespace {

// Room past the compressor's bound for the empty stored block that ends a block's piece: a
// byte for its header bits when they do not fit the last byte, and its two lengths.
constexpr std::size_t kStoredEndBytes = 5;
// Blocks in flight per thread: the one being deflated; with the one being read and the one held
// until the next is read, no thread waits long while the calling thread reads and writes.
constexpr std::size_t kBlocksPerThread = 1;

// The bytes below 32 that make zlib take a block for binary data when one of them is a literal
// in it: 0 to 6, 14 to 25, 28 to 31. Tab, line feed, carriage return and 32 up make it text.
constexpr std::uint32_t kBinaryBytes = 0xf3ffc07fu;
// zlib judges a stream by its first block, deflated on its own to see; this much of the start
// holds that block whatever the data.
constexpr std::size_t kTextProbeBytes = 128 * 1024;

bool IsBinaryByte(unsigned char byte) {
  return byte < 32 && ((kBinaryBytes >> byte) & 1) != 0;
}

// Whether zlib, deflating the data with these settings, would mark it as text: it judges by the
// literals of its first block. Every byte value is a literal where it first appears, and the
// first block ends only after lit_bufsize - 1 symbols, so a binary byte among that many first
// bytes settles it at once - as the zero bytes of UTF-16 text do; otherwise zlib deflates the
// start of the data and says.
bool TakenForText(const DeflateOptions& options, const unsigned char* data, std::size_t size) {
  const std::size_t first_block_least = (std::size_t{1} << (options.memory_level + 6)) - 1;
  if (std::any_of(data, data + std::min(size, first_block_least), IsBinaryByte)) return false;
  z_stream stream{};
  if (deflateInit2(&stream, options.level, Z_DEFLATED, -MAX_WBITS, options.memory_level,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    return false;
  }
  const std::size_t probe = std::min(size, kTextProbeBytes);
  std::vector<unsigned char> discarded(deflateBound(&stream, probe));
  stream.next_in = const_cast<unsigned char*>(data);
  stream.avail_in = static_cast<uInt>(probe);
  stream.next_out = discarded.data();
  stream.avail_out = static_cast<uInt>(discarded.size());
  deflate(&stream, Z_FINISH);
  const bool text = stream.data_type == Z_TEXT;
  deflateEnd(&stream);
  return text;
}

// One block of a member's data and the piece of the deflate stream it becomes.
struct DeflateBlock {
  std::vector<unsigned char> input;
  std::size_t size = 0;
  bool first = false;
  bool last = false;
  // Written by the thread that deflates the block.
  std::vector<unsigned char> piece;
  std::size_t piece_size = 0;
  uLong crc = 0;
  bool text = false;
  bool deflated = false;
  // Guarded by the deflater's mutex.
  bool finished = false;

  unsigned char* data() { return input.data(); }
};

// A libdeflate compressor of the archive's settings, and an inflater that finds the end of what
// it made, reused block after block.
class BlockDeflater {
 public:
  explicit BlockDeflater(const DeflateOptions& options)
      : options_(options), compressor_(libdeflate_alloc_compressor(options.compressor_level)) {
    inflater_ready_ = inflateInit2(&inflater_, -MAX_WBITS) == Z_OK;
  }
  ~BlockDeflater() {
    if (inflater_ready_) inflateEnd(&inflater_);
    if (compressor_ != nullptr) libdeflate_free_compressor(compressor_);
  }
  BlockDeflater(const BlockDeflater&) = delete;
  BlockDeflater& operator=(const BlockDeflater&) = delete;

  // Deflates the block into its piece: a complete stream of its own, whose end every block but
  // the last opens for the next piece's blocks.
  bool Deflate(DeflateBlock& block) {
    if (compressor_ == nullptr || !inflater_ready_) return false;
    block.piece.resize(libdeflate_deflate_compress_bound(compressor_, block.size) +
                       kStoredEndBytes);
    block.piece_size = libdeflate_deflate_compress(compressor_, block.data(), block.size,
                                                   block.piece.data(), block.piece.size());
    if (block.piece_size == 0) return false;
    if (!block.last && !OpenEnd(block)) return false;
    block.crc = libdeflate_crc32(0, block.data(), block.size);
    block.text = block.first && TakenForText(options_, block.data(), block.size);
    return true;
  }

 private:
  // Clears the last-block bit of the piece's last block and ends the piece with an empty stored
  // block on a byte boundary instead, as a sync flush would. The last block is found by
  // inflating the piece block by block; what it inflates to is not kept.
  bool OpenEnd(DeflateBlock& block) {
    if (inflateReset(&inflater_) != Z_OK) return false;
    unsigned char* const piece = block.piece.data();
    inflater_.next_in = piece;
    inflater_.avail_in = static_cast<uInt>(block.piece_size);
    // The header of the block inflate reads next starts at the bit after the ones it used.
    bool last = (piece[0] & 1) != 0;
    piece[0] &= ~1;
    for (;;) {
      inflater_.next_out = discarded_;
      inflater_.avail_out = sizeof discarded_;
      const int status = inflate(&inflater_, Z_BLOCK);
      const bool at_block_end = (inflater_.data_type & 128) != 0;
      if (status == Z_STREAM_END || (status == Z_OK && at_block_end && last)) break;
      if (status != Z_OK) return false;
      if (!at_block_end) continue;
      if (const int unused_bits = inflater_.data_type & 7; unused_bits != 0) {
        unsigned char& header = inflater_.next_in[-1];
        const auto final_bit = static_cast<unsigned char>(1 << (8 - unused_bits));
        last = (header & final_bit) != 0;
        header &= static_cast<unsigned char>(~final_bit);
      } else if (inflater_.avail_in != 0) {
        last = (inflater_.next_in[0] & 1) != 0;
        inflater_.next_in[0] &= ~1;
      } else {
        return false;
      }
    }
    if (inflater_.avail_in != 0) return false;
    // The bits past the stream's end in its last byte are zero, and become the stored block's
    // header bits and its padding where there is room for them.
    const int unused_bits = inflater_.data_type & 7;
    piece[block.piece_size - 1] &= static_cast<unsigned char>(0xff >> unused_bits);
    if (unused_bits < 3) piece[block.piece_size++] = 0;
    for (const unsigned char byte : {0x00, 0x00, 0xff, 0xff}) piece[block.piece_size++] = byte;
    return true;
  }

  const DeflateOptions options_;
  libdeflate_compressor* const compressor_;
  z_stream inflater_{};
  bool inflater_ready_ = false;
  unsigned char discarded_[64 * 1024];
};

// Deflates a member's blocks on worker threads, in a fixed ring of blocks: one per thread, the
// one being read and the one held until the next is read. The calling thread prepares block after
// block and takes them back finished, in order; a block's place in the ring is free again once it
// was taken back.
class ParallelDeflater {
 public:
  ParallelDeflater(unsigned threads, const DeflateOptions& options)
      : threads_(threads), options_(options), ring_(kBlocksPerThread * threads + 2) {}

  std::size_t block_bytes() const { return options_.block_bytes; }
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
    block.input.resize(block_bytes());
    block.size = 0;
    block.first = index == 0;
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
      if (!own_deflater_) own_deflater_ = std::make_unique<BlockDeflater>(options_);
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
    BlockDeflater deflater(options_);
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
  const DeflateOptions options_;
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

unsigned Threads() {
  return std::max(1u, std::thread::hardware_concurrency());
}

std::size_t DeflateBlockBytes(std::uint64_t size) {
  const std::uint64_t threads = Threads();
  const std::uint64_t rounds = std::max<std::uint64_t>(
      1, (size + threads * kDeflateBlockBytes - 1) / (threads * kDeflateBlockBytes));
  const std::uint64_t blocks = threads * rounds;
  return static_cast<std::size_t>(std::clamp<std::uint64_t>(
      (size + blocks - 1) / blocks, kLeastDeflateBlockBytes, kDeflateBlockBytes));
}

std::uint64_t DeflatedSizeBound(std::uint64_t size) {
  const std::uint64_t block_bytes = DeflateBlockBytes(size);
  const std::uint64_t blocks = std::max<std::uint64_t>(1, (size + block_bytes - 1) / block_bytes);
  // The bound of any compressor libdeflate makes, which a shorter last block keeps within.
  const std::uint64_t block_overhead =
      libdeflate_deflate_compress_bound(nullptr, block_bytes) - block_bytes + kStoredEndBytes;
  return size + blocks * block_overhead;
}

// The calling thread reads each block ahead of handing the one before it to the workers, so that
// the last block is known as the last, and writes the pieces in order as their places in the
// ring are needed again.
int DeflateInParallel(const DeflateOptions& options, const BlockReader& read,
                      const PieceWriter& write) {
  ParallelDeflater deflater(Threads(), options);
  const std::size_t block_bytes = deflater.block_bytes();
  std::uint64_t written = 0;
  auto write_next = [&] {
    const DeflateBlock& block = deflater.Finished(written++);
    if (!block.deflated) return kDeflateFailed;
    return write(DeflatedPiece{block.piece.data(), block.piece_size, block.size, block.crc,
                               block.text, block.last});
  };
  DeflateBlock* block = &deflater.Prepare(0);
  if (!read(block->data(), block_bytes, &block->size)) return kDeflateReadFailed;
  std::uint64_t index = 0;
  for (;; ++index) {
    block->last = block->size < block_bytes;
    DeflateBlock* next = nullptr;
    if (!block->last) {
      while (index + 1 >= written + deflater.capacity()) {
        if (const int result = write_next(); result != 0) return result;
      }
      next = &deflater.Prepare(index + 1);
      if (!read(next->data(), block_bytes, &next->size)) return kDeflateReadFailed;
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
