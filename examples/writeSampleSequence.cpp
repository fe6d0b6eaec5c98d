#include "examples/SampleFrames.h"
int main(){}
