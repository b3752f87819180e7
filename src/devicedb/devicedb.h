// Device databases: the call logs ("clog.db") and speed dials ("speed.db") kept in the object
// store's volume "\pim.vol", backed up record by record with every property they hold. The PIM
// volume layer (pim_volume.h) is what their passes share.
#pragma once

#include "devicedb/pim_volume.h"
