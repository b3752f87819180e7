// Settings and scheduling: every setting lives in the device registry under the application's
// key, read and written through RegKey; the scheduled backup arms the device's timed launches,
// and the file types and the Start-menu shortcut live in the device's shell.
#pragma once

#include "settings/file_types.h"
#include "settings/reg_key.h"
#include "settings/schedule.h"
#include "settings/settings_keys.h"
