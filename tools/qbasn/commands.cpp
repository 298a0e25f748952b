// tools/qbasn/commands.cpp - (being written) qbasn guess, diff and template.
#include "tools/qbasn/commands.h"
