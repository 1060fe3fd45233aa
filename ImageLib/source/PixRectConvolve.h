// PixRectConvolve: the body of PixRectRW's constructor from a 5 x 5 kernel.
// It is the tail of PixRect.h and is included only from there.
#pragma once

#include "ImageLib/source/PixRect.h"
