#include "tests/support/ToolTest.h"
