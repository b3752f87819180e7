#include "platform/file_system.h"

namespace kestrav::platform {

bool FileSystem::Exists(std::u16string_view path) {
  FileAttributeData data;
  return GetAttributes(path, &data) == kErrorSuccess;
}

bool FileSystem::FileExists(std::u16string_view path) {
  FileAttributeData data;
  return GetAttributes(path, &data) == kErrorSuccess &&
         (data.attributes & kAttributeDirectory) == 0;
}

bool IsPathSeparator(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

bool IsHostPath(std::u16string_view path) {
  return !path.empty() && path.front() == u'/';
}

namespace {

std::size_t LastSeparator(std::u16string_view path) {
  return IsHostPath(path) ? path.rfind(u'/') : path.find_last_of(u"\\/");
}

}  // namespace

std::u16string_view BaseName(std::u16string_view path) {
  const size_t last = LastSeparator(path);
  return last == std::u16string_view::npos ? path : path.substr(last + 1);
}

std::u16string_view ExtensionOf(std::u16string_view path) {
  const std::u16string_view name = BaseName(path);
  const size_t dot = name.rfind(u'.');
  return dot == std::u16string_view::npos ? std::u16string_view() : name.substr(dot);
}

std::u16string_view FolderOf(std::u16string_view path) {
  const size_t last = LastSeparator(path);
  return last == std::u16string_view::npos ? std::u16string_view() : path.substr(0, last + 1);
}

std::u16string WithTrailingSeparator(std::u16string_view folder) {
  std::u16string result(folder);
  // A host path ("/home/...") keeps the host's separator; a device path takes the device's.
  const bool host = IsHostPath(result);
  if (result.empty() || (host ? result.back() != u'/' : !IsPathSeparator(result.back()))) {
    result.push_back(host ? u'/' : u'\\');
  }
  return result;
}

}  // namespace kestrav::platform
