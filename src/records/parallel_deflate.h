// Raw deflate on every core: the data is cut into large blocks, each deflated on a thread of its
// own with libdeflate and ended on a byte boundary with an empty stored block (as a sync flush
// ends one), the last one with the stream's end, so that the pieces, joined in order, are one
// ordinary deflate stream that any inflater reads. A fixed ring of a block per thread and two
// more is in flight, so memory stays bounded whatever the size of the data; data that fits one
// block is deflated on the calling thread.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace kestrav::records {

// The largest and the smallest blocks the data is cut into: large, since each starts without the
// data before it as its dictionary.
inline constexpr std::size_t kDeflateBlockBytes = 4 * 1024 * 1024;
inline constexpr std::size_t kLeastDeflateBlockBytes = 1024 * 1024;

struct DeflateOptions {
  // The zlib settings the stream stands for: they decide, as zlib would, whether the data is
  // taken for text.
  int level = Z_DEFAULT_COMPRESSION;
  int memory_level = 8;
  // libdeflate's level that does the work.
  int compressor_level = 6;
  // The size of the blocks (DeflateBlockBytes).
  std::size_t block_bytes = kDeflateBlockBytes;
};

// The size of the blocks to cut data of that size into: the same number of blocks for every
// thread, so that they all finish together, each within the sizes above.
std::size_t DeflateBlockBytes(std::uint64_t size);

// One block's piece of the stream, handed to the writer in order.
struct DeflatedPiece {
  const unsigned char* bytes;
  std::size_t size;
  std::size_t input_size;  // the bytes of data it holds
  uLong crc;               // the CRC-32 of those bytes (crc32_combine joins them)
  bool text;               // zlib would take the data for text (told with the first piece)
  bool last;               // the piece that ends the stream
};

// Fills the buffer with the next data; *size is below the capacity only at the end of the data.
// False when the data cannot be read.
using BlockReader =
    std::function<bool(unsigned char* buffer, std::size_t capacity, std::size_t* size)>;
// Takes a piece; a non-zero answer stops the deflation and is returned by it.
using PieceWriter = std::function<int(const DeflatedPiece& piece)>;

inline constexpr int kDeflateReadFailed = -1;  // the reader failed
inline constexpr int kDeflateFailed = -2;      // the compressor failed

// Deflates everything the reader gives into pieces for the writer, on the calling thread and as
// many more as there are cores. 0, a writer's answer, or one of the codes above.
int DeflateInParallel(const DeflateOptions& options, const BlockReader& read,
                      const PieceWriter& write);

// The most bytes the pieces of that much data can take, cut into DeflateBlockBytes(size) blocks,
// however little it deflates: the compressor's bound and the empty stored block, for every block.
std::uint64_t DeflatedSizeBound(std::uint64_t size);

}  // namespace kestrav::records
