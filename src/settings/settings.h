// Settings and scheduling: every setting lives in the device registry under the application's
// key, read and written through RegKey; later the scheduled backup, the file types and the
// Start-menu shortcut join this folder.
#pragma once

#include "settings/reg_key.h"
#include "settings/settings_keys.h"
