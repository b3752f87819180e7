// Outlook items: contacts, appointments and tasks through the device's Pocket Outlook object
// model (platform/outlook.h), to and from their record files.
//
// Every pass opens its own OutlookSession and reports through the job's ProgressSink. The three
// kinds share their passes (item_pass.h) and differ in their texts and lines: contacts are one
// line of sixty columns each (contact_record.h), restored through a contact field map
// (contact_field_map.h), which is also how foreign files are imported; appointments and tasks
// are signed files of typed fields (item_fields.h).
#pragma once

#include "outlook/appointments.h"
#include "outlook/contact_field_map.h"
#include "outlook/contact_record.h"
#include "outlook/contacts.h"
#include "outlook/outlook_session.h"
#include "outlook/tasks.h"
