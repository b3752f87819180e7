// Record files and the backup archive.
//
// Every kind of data is backed up to a record file of its own: UTF-16 text, one record per line
// under a header line of column names (CsvRecordFile, value encodings in value_text.h). A whole
// backup is one ".qbk" ZIP archive whose members are those record files (archive.h).
#pragma once

#include "records/archive.h"
#include "records/file_signature.h"
#include "records/record_file.h"
#include "records/value_text.h"
