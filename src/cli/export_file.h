// A file an export writes: its bytes go to a temporary name beside it, and only a file written
// whole takes its name, so a failed export never leaves a half file that looks complete.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "export/output.h"

namespace kestrav::cli {

class ExportFile : public exporting::Output {
 public:
  ExportFile() = default;
  ExportFile(const ExportFile&) = delete;
  ExportFile& operator=(const ExportFile&) = delete;
  // An export left without Commit removes what it wrote.
  ~ExportFile() override;

  // Creates the temporary file beside `path`; false with the reason.
  bool Open(const std::filesystem::path& path, std::string* error);
  // Buffers the bytes; false once they could not be written, and from then on.
  bool Write(std::string_view bytes) override;
  // Writes what is buffered, closes the file and gives it its name; false with the reason.
  // `synchronize` first waits until the bytes are on the disk; an export of many small files
  // leaves that to one synchronization of the whole file system at its end.
  bool Commit(std::string* error, bool synchronize = true);
  // Closes and removes the temporary file.
  void Abort();

  bool failed() const { return failed_; }
  // The file and why it could not be written.
  std::string ErrorText() const;
  const std::filesystem::path& path() const { return path_; }

 private:
  bool Flush();

  std::filesystem::path path_;
  std::filesystem::path temporary_;
  int descriptor_ = -1;
  std::string buffer_;
  bool failed_ = false;
  int error_number_ = 0;
};

}  // namespace kestrav::cli
