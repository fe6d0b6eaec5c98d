#include "image/KX_DataTypes_imageList.h"
