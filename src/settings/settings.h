// Settings and scheduling: every setting lives in the device registry under the application's
// key, read and written through RegKey; the scheduled backup arms the device's timed launches,
// the file types and the Start-menu shortcut live in the device's shell, and the folder tree
// picks or creates the backup folder.
#pragma once

#include "settings/file_types.h"
#include "settings/folder_tree.h"
#include "settings/reg_key.h"
#include "settings/schedule.h"
#include "settings/settings_keys.h"
