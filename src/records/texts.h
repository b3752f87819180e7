// The texts of record files and archives, as the user sees them.
#pragma once

namespace kestrav::records::texts {

inline constexpr char16_t kBadHeader[] =
    u"Error (ERROR_CSV_BAD_HEADER) : Bad formatted header found.";
inline constexpr char16_t kBadRecordAtLine[] =
    u"Error (ERROR_CSV_BAD_RECORD) : Bad record found at line %d.";
inline constexpr char16_t kSystemErrorPrefix[] = u"Error (%d) : ";
inline constexpr char16_t kCsvFileErrorTitle[] = u"CSV File Error";
// A restore that could not read its file: the reader's error text, then this, joined as they
// stand (the error text ends with its full stop, and no blank is added).
inline constexpr char16_t kLoadFailedNothingDone[] = u"%sNothing done.";

}  // namespace kestrav::records::texts
