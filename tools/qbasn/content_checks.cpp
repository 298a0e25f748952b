// tools/qbasn/content_checks.cpp - (being written) the dump's content checks.
#include "tools/qbasn/dump.h"
