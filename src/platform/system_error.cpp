#include "platform/system_error.h"

namespace kestrav::platform {

std::u16string SystemErrorText(ErrorCode code) {
  switch (code) {
    case kErrorSuccess:
      return u"The operation completed successfully.";
    case kErrorFileNotFound:
      return u"The system cannot find the file specified.";
    case kErrorPathNotFound:
      return u"The system cannot find the path specified.";
    case kErrorTooManyOpenFiles:
      return u"The system cannot open the file.";
    case kErrorAccessDenied:
      return u"Access is denied.";
    case kErrorInvalidHandle:
      return u"The handle is invalid.";
    case kErrorNotEnoughMemory:
      return u"Not enough storage is available to process this command.";
    case kErrorNotSameDevice:
      return u"The system cannot move the file to a different disk drive.";
    case kErrorWriteProtect:
      return u"The media is write protected.";
    case kErrorWriteFault:
      return u"The system cannot write to the specified device.";
    case kErrorReadFault:
      return u"The system cannot read from the specified device.";
    case kErrorGenFailure:
      return u"A device attached to the system is not functioning.";
    case kErrorSharingViolation:
      return u"The process cannot access the file because it is being used by another process.";
    case kErrorHandleEof:
      return u"Reached the end of the file.";
    case kErrorFileExists:
      return u"The file exists.";
    case kErrorInvalidParameter:
      return u"The parameter is incorrect.";
    case kErrorDiskFull:
      return u"There is not enough space on the disk.";
    case kErrorInvalidName:
      return u"The filename, directory name, or volume label syntax is incorrect.";
    case kErrorDirectoryNotEmpty:
      return u"The directory is not empty.";
    case kErrorAlreadyExists:
      return u"Cannot create a file when that file already exists.";
    case kErrorFilenameTooLong:
      return u"The filename or extension is too long.";
    case kErrorMoreData:
      return u"More data is available.";
    case kErrorNoMoreItems:
      return u"No more data is available.";
    case kErrorBadPathname:
      return u"The specified path is invalid.";
    case kErrorDirectory:
      return u"The directory name is invalid.";
  }
  return {};
}

}  // namespace kestrav::platform
