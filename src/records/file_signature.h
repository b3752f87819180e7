// The signatures that open the record files of appointments, tasks, call logs and speed dials.
//
// The four form one family: the appointment signature is the base, and each other kind's byte
// is the base byte plus a fixed step (tasks -1, call logs +1, speed dials -2), so a file of one
// kind is refused by another. Every base byte lies between 2 and 253, so every derived byte is
// still a byte.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace kestrav::records {

enum class SignedFile { kAppointments, kTasks, kCallLogs, kSpeedDials };

inline constexpr std::size_t kSignatureSize = 20;
using FileSignature = std::array<std::uint8_t, kSignatureSize>;

// The signature a backup writes for the kind.
FileSignature SignatureOf(SignedFile kind);

// The speed-dial signature of older writers: the current one with its last byte one less.
FileSignature OlderSpeedDialSignature();

// Whether bytes begin with the signature.
bool BeginsWithSignature(std::span<const std::uint8_t> bytes, const FileSignature& signature);

}  // namespace kestrav::records
