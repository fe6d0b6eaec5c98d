#include "image/KX_DataTypes_image.h"
