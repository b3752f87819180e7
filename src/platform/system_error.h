// The device's system error codes, and their texts as the device's message table words them.
#pragma once

#include <cstdint>
#include <string>

namespace kestrav::platform {

using ErrorCode = std::uint32_t;

inline constexpr ErrorCode kErrorSuccess = 0;
inline constexpr ErrorCode kErrorFileNotFound = 2;
inline constexpr ErrorCode kErrorPathNotFound = 3;
inline constexpr ErrorCode kErrorTooManyOpenFiles = 4;
inline constexpr ErrorCode kErrorAccessDenied = 5;
inline constexpr ErrorCode kErrorInvalidHandle = 6;
inline constexpr ErrorCode kErrorNotEnoughMemory = 8;
inline constexpr ErrorCode kErrorNotSameDevice = 17;
inline constexpr ErrorCode kErrorWriteProtect = 19;
inline constexpr ErrorCode kErrorWriteFault = 29;
inline constexpr ErrorCode kErrorReadFault = 30;
inline constexpr ErrorCode kErrorGenFailure = 31;
inline constexpr ErrorCode kErrorSharingViolation = 32;
inline constexpr ErrorCode kErrorHandleEof = 38;
inline constexpr ErrorCode kErrorFileExists = 80;
inline constexpr ErrorCode kErrorInvalidParameter = 87;
inline constexpr ErrorCode kErrorDiskFull = 112;
inline constexpr ErrorCode kErrorInvalidName = 123;
inline constexpr ErrorCode kErrorDirectoryNotEmpty = 145;
inline constexpr ErrorCode kErrorAlreadyExists = 183;
inline constexpr ErrorCode kErrorBadPathname = 161;
inline constexpr ErrorCode kErrorFilenameTooLong = 206;
inline constexpr ErrorCode kErrorMoreData = 234;
inline constexpr ErrorCode kErrorNoMoreItems = 259;
inline constexpr ErrorCode kErrorDirectory = 267;

// The message text of a code, without a line end; empty for a code the table does not hold.
std::u16string SystemErrorText(ErrorCode code);

}  // namespace kestrav::platform
