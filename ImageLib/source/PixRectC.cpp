#include "ImageLib/source/PixRectC.h"

#include <cstddef>

#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectRows.h"

template <class T>
PixRectC<T>::PixRectC() = default;

template <class T>
PixRectC<T>::PixRectC(const DBGState& s) : PixRect<T>(s) {}

template <class T>
PixRectC<T>::PixRectC(PixRect<T>* src) : _src(src) {
    if (src == nullptr) return;
    this->setbounds(*src);
    this->setscale(src->xs(), src->ys());
    this->dbg = src->dbgstate();
    initcache(64, 64);
}

template <class T>
PixRectC<T>::PixRectC(PixRect<T>& src) : PixRectC(&src) {}

template <class T>
PixRectC<T>::~PixRectC() = default;

template <class T>
bool PixRectC<T>::initcache(int tilew, int tileh) {
    deletecache();
    _tilew = SICommon_H::max(tilew, 1);
    _tileh = SICommon_H::max(tileh, 1);
    _ncols = this->width() / _tilew + 1;
    _nrows = this->height() / _tileh + 1;
    if (_ncols < 1 || _nrows < 1) return true;
    _tiles.resize(static_cast<std::size_t>(_nrows));
    for (auto& tiles : _tiles) tiles.resize(static_cast<std::size_t>(_ncols));
    _ages.assign(static_cast<std::size_t>(_nrows), std::vector<int>(static_cast<std::size_t>(_ncols), 0));
    return true;
}

template <class T>
PixRectRW<T>* PixRectC<T>::cachetile(int x, int y) const {
    if (!havetables() || _src == nullptr || !this->withinbounds(x, y)) return nullptr;
    const int col = (x - this->lx()) / _tilew, row = (y - this->ly()) / _tileh;
    if (row >= _nrows || col >= _ncols) return nullptr;  // the bounds grew after the tables were laid out
    const auto r = static_cast<std::size_t>(row), c = static_cast<std::size_t>(col);
    std::unique_ptr<PixRectRW<T>>& tile = _tiles[r][c];
    if (tile == nullptr) {
        const int left = this->lx() + _tilew * col, top = this->ly() + _tileh * row;
        const tumblewash::imagelib::Region place{left, top, left + _tilew - 1, top + _tileh - 1};
        if (place.clipped(tumblewash::imagelib::boundsOf(*_src)).empty()) return nullptr;
        PixRectRef<T> view(*_src, place.lx, place.ly, place.hx, place.hy);
        tile = std::make_unique<PixRectRW<T>>(static_cast<const PixRect<T>&>(view));
        _ages[r][c] = _clock;
        ++_clock;
        ++_ntiles;
    }
    return tile.get();
}

template <class T>
const T& PixRectC<T>::cacheref(int x, int y) const {
    const PixRectRW<T>* tile = cachetile(x, y);
    if (tile == nullptr || !tile->withinbounds(x, y)) return PixRectBase<T>::blackpixel;
    return tile->pixrefNB(x, y);
}

template <class T>
T PixRectC<T>::pix(int x, int y) const {
    return cacheref(x, y);
}

template <class T>
T PixRectC<T>::pixNB(int x, int y) const {
    return cacheref(x, y);
}

template <class T>
T PixRectC<T>::pixdd(double x, double y) const {
    const bool representable = x > -2147483649.0 && x < 2147483648.0 && y > -2147483649.0 && y < 2147483648.0;
    if (!representable) return PixRectBase<T>::blackpixel;
    return cacheref(static_cast<int>(x), static_cast<int>(y));
}

template <class T>
void PixRectC<T>::deletetile(int row, int col) {
    if (!havetables() || row < 0 || row >= _nrows || col < 0 || col >= _ncols) return;
    const auto r = static_cast<std::size_t>(row), c = static_cast<std::size_t>(col);
    if (_tiles[r][c] == nullptr) return;
    _tiles[r][c].reset();
    _ages[r][c] = 0;
    --_ntiles;
}

template <class T>
void PixRectC<T>::clearoldest() {
    if (!havetables()) return;
    int best = _clock;
    std::size_t bestrow = 0, bestcol = 0;
    for (std::size_t row = 0; row < _tiles.size(); ++row) {
        for (std::size_t col = 0; col < _tiles[row].size(); ++col) {
            if (_tiles[row][col] == nullptr || _ages[row][col] > best) continue;
            best = _ages[row][col];
            bestrow = row;
            bestcol = col;
        }
    }
    if (best == _clock) return;
    deletetile(static_cast<int>(bestrow), static_cast<int>(bestcol));
}

template <class T>
void PixRectC<T>::clearcache() {
    for (int row = 0; row < _nrows; ++row)
        for (int col = 0; col < _ncols; ++col) deletetile(row, col);
    _clock = 0;
    _ntiles = 0;
}

template <class T>
void PixRectC<T>::deletecache() {
    _tiles.clear();
    _ages.clear();
    _ncols = 0;
    _nrows = 0;
    _ntiles = 0;
}

template <class T>
int PixRectC<T>::percused() const {
    if (_ncols < 1) return 0;
    return (_ntiles * 100 / _ncols) * _nrows;
}

template <class T>
int PixRectC<T>::cachesize() const {
    return _ntiles * _tilew * _tileh;
}

template <class T>
void PixRectC<T>::printInfo() const {
    siprintf("PixRectC:");
    PixRect<T>::printInfo();
}

template class PixRectC<ARGBVal>;
template class PixRectC<GreyPixel<unsigned char>>;
