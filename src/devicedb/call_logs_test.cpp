#include "devicedb/call_logs.h"
