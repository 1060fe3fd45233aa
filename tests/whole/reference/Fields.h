// Fields: the even and the odd lines of a frame as views at zero origin, as every geometry of the system
// makes them. Shared by the plain compositions of this folder, which say what the shipped fast paths must
// equal to the byte. Nothing here is fast.
#pragma once

#include "ImageLib/source/PixRectWrap.h"

namespace tumblewash::reference {

/// A view over frame memory of w x h pixels, moved so that it begins at (0, 0).
class ZeroOriginWrap : public PixRectWrap<ARGBVal> {
  public:
    ZeroOriginWrap(unsigned char* frame, int w, int h, siwraptype lines)
        : PixRectWrap<ARGBVal>(reinterpret_cast<ARGBVal*>(frame), w, h, lines) {
        if (this->lx() != 0 || this->ly() != 0) {
            this->shiftorigin(-this->lx(), -this->ly());
        }
    }
};

}  // namespace tumblewash::reference
