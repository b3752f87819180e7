// Outlook items: contacts (and, to come, appointments and tasks) through the device's Pocket
// Outlook object model (platform/outlook.h), to and from their record files.
//
// Every pass opens its own OutlookSession and reports through the job's ProgressSink. Contacts
// are one line of sixty columns each (contact_record.h); a restore builds its records through a
// contact field map (contact_field_map.h), which is also how foreign files are imported.
#pragma once

#include "outlook/contact_field_map.h"
#include "outlook/contact_record.h"
#include "outlook/contacts.h"
#include "outlook/outlook_session.h"
