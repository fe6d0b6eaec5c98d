#include "image/KX_image.h"
