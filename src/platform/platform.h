// The device services the logic talks to, and the value types they trade in.
//
// Everything the backup logic needs from a handheld - its files, its clock, its ANSI code page,
// and later its registry and stores - is reached through the interfaces of this folder. The
// stand-ins that implement them on Linux live in host/; tests build the same logic on a
// temporary profile of those stand-ins.
#pragma once

#include "platform/clock.h"
#include "platform/device.h"
#include "platform/file_system.h"
#include "platform/format.h"
#include "platform/property_value.h"
#include "platform/system_error.h"
#include "platform/text.h"
#include "platform/time.h"
