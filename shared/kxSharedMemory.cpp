#include "shared/kxSharedMemory.h"
