#include "export/csv_table.h"

namespace kestrav::exporting {

void AppendCsvRow(const std::vector<std::string>& fields, std::string* out) {
  bool first = true;
  for (const std::string& field : fields) {
    if (!first) *out += ',';
    first = false;
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
      *out += field;
      continue;
    }
    *out += '"';
    for (char c : field) {
      if (c == '"') *out += '"';
      *out += c;
    }
    *out += '"';
  }
  *out += "\r\n";
}

}  // namespace kestrav::exporting
