// Device databases: the call logs ("clog.db") and speed dials ("speed.db") kept in the object
// store's volume "\pim.vol", backed up record by record with every property they hold. The PIM
// volume layer (pim_volume.h) and the generic record passes (pim_record_worker.h) are what their
// workers share; speed dials add the link to a contact of "Contacts Database".
#pragma once

#include "devicedb/call_logs.h"
#include "devicedb/pim_volume.h"
#include "devicedb/speed_dials.h"
