#include "records/parallel_deflate.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

namespace kestrav::records {
namespace {

// Words of varied length, so that each block's compressed end falls on another bit of its last
// byte.
std::string Words(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < size) {
    text.append(1 + random() % 9, static_cast<char>('a' + random() % 26));
    text += random() % 7 == 0 ? "\r\n" : ";";
  }
  text.resize(size);
  return text;
}

struct Deflated {
  std::string stream;
  std::vector<std::string> pieces;
  uLong crc = 0;
  std::size_t size = 0;
};

Deflated Deflate(const std::string& data) {
  Deflated result;
  std::size_t offset = 0;
  const int status = DeflateInParallel(
      {.level = 8,
       .memory_level = 8,
       .compressor_level = 1,
       .block_bytes = kLeastDeflateBlockBytes},
      [&](unsigned char* buffer, std::size_t capacity, std::size_t* size) {
        *size = std::min(capacity, data.size() - offset);
        data.copy(reinterpret_cast<char*>(buffer), *size, offset);
        offset += *size;
        return true;
      },
      [&](const DeflatedPiece& piece) {
        result.pieces.emplace_back(reinterpret_cast<const char*>(piece.bytes), piece.size);
        result.stream += result.pieces.back();
        result.crc = crc32_combine(result.crc, piece.crc, static_cast<z_off_t>(piece.input_size));
        result.size += piece.input_size;
        return 0;
      });
  EXPECT_EQ(status, 0);
  return result;
}

std::string Inflate(const std::string& stream, std::size_t expected_size) {
  std::string data(expected_size + 1, '\0');
  z_stream inflater{};
  EXPECT_EQ(inflateInit2(&inflater, -MAX_WBITS), Z_OK);
  inflater.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(stream.data()));
  inflater.avail_in = static_cast<uInt>(stream.size());
  inflater.next_out = reinterpret_cast<Bytef*>(data.data());
  inflater.avail_out = static_cast<uInt>(data.size());
  EXPECT_EQ(inflate(&inflater, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(inflater.avail_in, 0u);
  data.resize(inflater.total_out);
  inflateEnd(&inflater);
  return data;
}

// Pieces compressed apart join into one stream: every piece but the last ends on a byte boundary
// with an empty stored block (00 00 FF FF), wherever its last block ended, and the whole inflates
// back with the CRC of the data.
TEST(ParallelDeflate, PiecesJoinIntoOneStreamWhereverTheirBlocksEnd) {
  for (unsigned seed = 1; seed <= 16; ++seed) {
    SCOPED_TRACE(seed);
    const std::string data = Words(seed, 2 * kLeastDeflateBlockBytes + seed * 1000);
    const Deflated deflated = Deflate(data);
    ASSERT_EQ(deflated.pieces.size(), 3u);
    for (std::size_t index = 0; index + 1 < deflated.pieces.size(); ++index) {
      EXPECT_TRUE(deflated.pieces[index].ends_with(std::string("\x00\x00\xff\xff", 4)));
    }
    EXPECT_EQ(deflated.size, data.size());
    EXPECT_EQ(deflated.crc, crc32(0, reinterpret_cast<const Bytef*>(data.data()),
                                  static_cast<uInt>(data.size())));
    EXPECT_TRUE(Inflate(deflated.stream, data.size()) == data);
  }
}

// Data that ends on a block's end is known as ended there, in one piece that ends the stream;
// no data at all is a stream too.
TEST(ParallelDeflate, DataEndingOnABlockEndAndNoDataAtAll) {
  const std::string data = Words(99, kLeastDeflateBlockBytes);
  const Deflated deflated = Deflate(data);
  EXPECT_EQ(deflated.pieces.size(), 1u);
  EXPECT_TRUE(Inflate(deflated.stream, data.size()) == data);
  EXPECT_EQ(Inflate(Deflate("").stream, 0), "");
}

}  // namespace
}  // namespace kestrav::records
