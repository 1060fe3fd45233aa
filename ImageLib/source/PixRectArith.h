// PixRectArith: the bodies of PixRectRW's whole-rectangle arithmetic and blending members.
// It is the tail of PixRect.h and is included only from there.
#pragma once

#include "ImageLib/source/PixRect.h"

template <class T>
SIerrorcode PixRectRW<T>::multiplyby(double d) {
    if (!hasdata()) return IMAGE_NODATA;
    for (int y = this->_ly; y <= this->_hy; ++y) {
        for (int x = this->_lx; x <= this->_hx; ++x) {
            T& p = pixrefNB(x, y);
            if constexpr (std::is_base_of_v<SICommon, T>) {
                p *= d;
            } else {
                const auto low = [d](unsigned char c) {
                    return static_cast<unsigned char>(SIChannelCast<int>(c * d) & 0xFF);
                };
                p.setred(low(p.getred()));
                p.setgreen(low(p.getgreen()));
                p.setblue(low(p.getblue()));
            }
        }
    }
    return IMAGE_OK;
}
