#include "shared/kxDataBuffer.h"
