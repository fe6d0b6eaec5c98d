#include "shared/kxImageBuffer.h"
