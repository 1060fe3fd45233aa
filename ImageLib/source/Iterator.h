// Iterator: walks over every pixel of a rectangle in raster order, by coordinates for reading or by pointer
// for writing. They are not standard-library iterators, and they own nothing: the rectangle must outlive the
// walk.
#pragma once

#include <cstdint>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "ImageLib/source/SICommon.h"

/// Common base of the walks over pixels of T.
template <class T>
class Iterator : public SICommon {
  public:
    constexpr Iterator() = default;
    /// As by default, with these debug categories.
    explicit constexpr Iterator(const DBGState& s) : SICommon(s) {}

    void printInfo() const override;
};

/// Reads a rectangle pixel by pixel: rows from ly to hy, each from lx to hx. Call `first()` before use.
template <class T>
class PixRectIterator : public Iterator<T> {
  public:
    /// A walk over `r`, which is not owned; starts nowhere until the first call of `first`.
    explicit PixRectIterator(const PixRect<T>* r) : Iterator<T>(r->dbgstate()), pr(r) {}
    /// A walk over `r`, which is not owned; starts nowhere until the first call of `first`.
    explicit PixRectIterator(const PixRect<T>& r) : PixRectIterator(&r) {}

    void printInfo() const override;

    /// Goes to the top-left pixel.
    void first() {
        x = pr->lx();
        y = pr->ly();
    }
    /// Goes to the next pixel in raster order.
    void next() {
        ++x;
        if (x > pr->hx()) {
            x = pr->lx();
            ++y;
        }
    }
    /// True once y has passed hy.
    bool isDone() const { return y > pr->hy(); }
    /// The pixel at the current position, read through the rectangle.
    T currentItem() const { return pr->pix(x, y); }
    /// The column of the current pixel.
    int getx() const { return x; }
    /// The row of the current pixel.
    int gety() const { return y; }

    /// The walked rectangle, not owned.
    const PixRect<T>* pr;
    /// Column of the current pixel.
    int x = 0;
    /// Row of the current pixel.
    int y = 0;
};

/// Hands out writable pixel pointers in the same order; within a row it steps by pointer increment. On a
/// rectangle without storage the first pointer is the address of `blackpixel`: callers check storage first.
template <class T>
class PixRectRWIterator : public PixRectIterator<T> {
  public:
    /// A walk over `r`, which is not owned; starts nowhere until the first call of `first`.
    explicit PixRectRWIterator(const PixRectRW<T>* r)
        : PixRectIterator<T>(r), pr(const_cast<PixRectRW<T>*>(r)) {}
    /// A walk over `r`, which is not owned; starts nowhere until the first call of `first`.
    explicit PixRectRWIterator(const PixRectRW<T>& r) : PixRectRWIterator(&r) {}

    void printInfo() const override;

    /// Starts the walk. Null on an empty rectangle.
    T* firstptr() {
        this->first();
        ptr = pr->width() > 0 && pr->height() > 0 ? &pr->pixrefNB(this->x, this->y) : nullptr;
        return ptr;
    }
    /// The next pixel, null exactly when the walk is over.
    T* nextptr() {
        ++this->x;
        if (this->x <= pr->hx()) {
            // Past the end the position still moves, the pointer stays null.
            if (ptr != nullptr) ++ptr;
            return ptr;
        }
        this->x = pr->lx();
        ++this->y;
        // Rows need not be adjacent, and the row table ends at hy.
        ptr = this->y > pr->hy() ? nullptr : &pr->pixrefNB(this->x, this->y);
        return ptr;
    }
    /// The current pixel; only while the walk is not over.
    T& currentItemRef() const { return *ptr; }
    /// The current pixel, null when the walk is over.
    T* currentItemPtr() const { return ptr; }

    /// The current pixel, null when the walk is over.
    T* ptr = nullptr;
    /// The walked rectangle as a writable one, not owned.
    PixRectRW<T>* pr;
};

template <class T>
void Iterator<T>::printInfo() const {
    siprintf("Iterator\n");
}

template <class T>
void PixRectIterator<T>::printInfo() const {
    siprintf("PixRectIterator pr(%x) x(%d) y(%d)\n",
             static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pr)), x, y);
}

template <class T>
void PixRectRWIterator<T>::printInfo() const {
    siprintf("PixRectRWIterator x(%d) y(%d) SRC:\n", this->x, this->y);
    pr->printInfo();
}

/// Every pixel type for which the library provides walks.
#define SI_FOR_EACH_ITERATOR_PIXEL(X) \
    X(ARGBVal)                        \
    X(RGBPixel<float>)                \
    X(GreyPixel<float>)               \
    X(GreyPixel<unsigned char>)

/// Undefined again below.
#define SI_EXTERN_ITERATOR(T)                 \
    extern template class Iterator<T>;        \
    extern template class PixRectIterator<T>; \
    extern template class PixRectRWIterator<T>;
SI_FOR_EACH_ITERATOR_PIXEL(SI_EXTERN_ITERATOR)
#undef SI_EXTERN_ITERATOR
