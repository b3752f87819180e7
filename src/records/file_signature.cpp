#include "records/file_signature.h"

#include <algorithm>

namespace kestrav::records {
namespace {

// The appointment signature, chosen once for this program: the ASCII bytes of
// "Kestrav PIM records!". It must never change, or older backups stop restoring.
constexpr FileSignature kAppointmentSignature = {0x4B, 0x65, 0x73, 0x74, 0x72, 0x61, 0x76,
                                                 0x20, 0x50, 0x49, 0x4D, 0x20, 0x72, 0x65,
                                                 0x63, 0x6F, 0x72, 0x64, 0x73, 0x21};

static_assert(std::ranges::all_of(kAppointmentSignature,
                                  [](std::uint8_t byte) { return byte >= 2 && byte <= 253; }),
              "every derived signature byte must stay a byte");

int StepOf(SignedFile kind) {
  switch (kind) {
    case SignedFile::kAppointments:
      return 0;
    case SignedFile::kTasks:
      return -1;
    case SignedFile::kCallLogs:
      return 1;
    case SignedFile::kSpeedDials:
      return -2;
  }
  return 0;
}

}  // namespace

FileSignature SignatureOf(SignedFile kind) {
  FileSignature signature = kAppointmentSignature;
  for (std::uint8_t& byte : signature) byte = static_cast<std::uint8_t>(byte + StepOf(kind));
  return signature;
}

FileSignature OlderSpeedDialSignature() {
  FileSignature signature = SignatureOf(SignedFile::kSpeedDials);
  --signature.back();
  return signature;
}

bool BeginsWithSignature(std::span<const std::uint8_t> bytes, const FileSignature& signature) {
  return bytes.size() >= signature.size() &&
         std::ranges::equal(bytes.first(signature.size()), signature);
}

}  // namespace kestrav::records
