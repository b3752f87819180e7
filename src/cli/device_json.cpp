#include "cli/device_json.h"

namespace kestrav::cli {

bool DumpDatabase(platform::ObjectStore&, std::u16string_view, std::string*, std::string* error) {
  *error = "not yet";
  return false;
}

bool LoadDatabase(platform::ObjectStore&, std::u16string_view, std::string_view,
                  std::string* error) {
  *error = "not yet";
  return false;
}

}  // namespace kestrav::cli
