// tests/tool/commands_test.cpp - (being written)
#include <gtest/gtest.h>

#include "tool/tool_fixture.h"
