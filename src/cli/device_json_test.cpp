#include "cli/device_json.h"
