#include "cli/cli.h"

namespace kestrav::cli {}
