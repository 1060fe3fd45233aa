#include "ImageLib/source/PixRectWrap.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "memory/FrameMemory.h"

namespace {

struct FreePixels {
    void operator()(ARGBVal* pixels) const { tumblewash::memory::freeFrameMemory(pixels); }
};
using OwnPixels = std::unique_ptr<ARGBVal[], FreePixels>;

/// Pixels without values, to be written before they are read.
OwnPixels newPixels(std::size_t count) {
    if (count > PTRDIFF_MAX / sizeof(ARGBVal)) throw std::bad_array_new_length();
    void* memory = tumblewash::memory::newFrameMemory(count * sizeof(ARGBVal));
    if (memory == nullptr) throw std::bad_alloc();
    return OwnPixels(static_cast<ARGBVal*>(memory));
}

}  // namespace

PixRectWrap<ARGBVal>::PixRectWrap(ARGBVal* data, int w, int h, siwraptype type) : _data(data), _type(type) {
    switch (type) {
        case SIAllLines:
            setbounds(0, 0, tumblewash::imagelib::wrapsub(w, 1), tumblewash::imagelib::wrapsub(h, 1));
            break;
        case SIEvenLines:
            setbounds(0, 0, tumblewash::imagelib::wrapsub(w, 1), tumblewash::imagelib::wrapadd(h, 1) / 2 - 1);
            break;
        case SIOddLines:
            setbounds(0, 0, tumblewash::imagelib::wrapsub(w, 1), h / 2 - 1);
            break;
        default:
            return;
    }
    makerows();
}

PixRectWrap<ARGBVal>::PixRectWrap(PixRectWrap* src) : PixRectWrap(*src) {}

// Complete before it copies, so that the destructor frees the block when the row table cannot be had.
PixRectWrap<ARGBVal>::PixRectWrap(const PixRectWrap& src) : PixRectWrap() {
    copyfromwrapped(&src);
}

PixRectWrap<ARGBVal>::~PixRectWrap() {
    PixRectWrap::freestore();
}

void PixRectWrap<ARGBVal>::droprows() {
    delete[] _rowtable;
    _rowtable = nullptr;
    _rast = nullptr;
    // Neither of these is an allocation of the base's here: the base must not free them.
    _firstrast = nullptr;
    _firstpixel = nullptr;
}

void PixRectWrap<ARGBVal>::init() {
    const int w = width(), h = height();
    if (_data == nullptr || w <= 0 || h <= 0) return;
    auto rows = std::make_unique<ARGBVal*[]>(static_cast<std::size_t>(h));
    for (std::ptrdiff_t i = 0; i < h; ++i) rows[static_cast<std::size_t>(i)] = _data + i * w - _lx;
    droprows();
    _rowtable = rows.release();
    _rast = _rowtable - _ly;
    _firstpixel = _data;
}

void PixRectWrap<ARGBVal>::makerows() {
    if (_type == SIAllLines) {
        PixRectWrap::init();
        return;
    }
    const int w = width(), h = height();
    if ((_type != SIEvenLines && _type != SIOddLines) || _data == nullptr || w <= 0 || h <= 0) return;
    ARGBVal* const first = _type == SIOddLines ? _data + w : _data;
    auto rows = std::make_unique<ARGBVal*[]>(static_cast<std::size_t>(h));
    for (std::ptrdiff_t i = 0; i < h; ++i) rows[static_cast<std::size_t>(i)] = first + i * 2 * w;
    droprows();
    _rowtable = rows.release();
    _rast = _rowtable;
    _firstrast = _rowtable;
    _firstpixel = _data;
}

void PixRectWrap<ARGBVal>::copyfromwrapped(const PixRectWrap* src) {
    OwnPixels block;
    const int w = src->width(), h = src->height();
    if (src->_rast != nullptr && w > 0 && h > 0) {
        const auto rowpixels = static_cast<std::size_t>(w);
        block = newPixels(rowpixels * static_cast<std::size_t>(h));
        for (int i = 0; i < h; ++i)
            std::memcpy(block.get() + static_cast<std::size_t>(i) * rowpixels,
                        src->_rast[src->_ly + i] + src->_lx, rowpixels * sizeof(ARGBVal));
    }
    const DBGState state = src->dbg;
    const double scalex = src->_xs, scaley = src->_ys;
    setbounds(src->_lx, src->_ly, src->_hx, src->_hy);
    setscale(scalex, scaley);
    dbg = state;
    PixRectWrap::freestore();
    _type = SIAllLines;
    _owndata = true;
    _data = block.release();
    makerows();
}

void PixRectWrap<ARGBVal>::freestore() {
    droprows();
    if (_owndata) {
        FreePixels()(_data);
        _data = nullptr;
    }
}

void PixRectWrap<ARGBVal>::freewrapdata() {
    droprows();
    if (_owndata) FreePixels()(_data);
    _data = nullptr;
}

const char* PixRectWrap<ARGBVal>::typetoname(siwraptype type) {
    static const char* const names[] = {"SIOddLines", "SIEvenLines", "SIAllLines"};
    return type <= SIAllLines ? names[type] : "";
}

void PixRectWrap<ARGBVal>::printInfo() const {
    siprintf("PixRectWrap:(_type=%s)", typetoname(_type));
    PixRectRW<ARGBVal>::printInfo();
}
