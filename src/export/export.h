// Exports a backup's items to the formats other programs read: contacts to vCard, appointments
// and tasks to iCalendar, messages to mbox and single messages, call logs and speed dials to
// CSV. Each writer takes plain values of its own ("what a vCard needs") and writes UTF-8 bytes to
// an Output; the adapters turn the backup's decoded items into those values. Nothing here reads
// a record file or touches the host's files.
#pragma once

#include "export/content_line.h"
#include "export/csv_table.h"
#include "export/icalendar.h"
#include "export/item_adapters.h"
#include "export/mail.h"
#include "export/output.h"
#include "export/vcard.h"
