#include "shared/kxFileSystem.h"
