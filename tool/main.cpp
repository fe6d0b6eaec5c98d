#include "tool/main.h"
#include "image/KX_DataTypes_imageList.h"
int main(int, char**) { return 0; }
