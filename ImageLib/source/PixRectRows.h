// Where a rectangle's pixels lie in memory: resolves a chain of views to the rows of the rectangle
// that stores the pixels, and tells which part of the view those rows can answer for.
// Not here: any operation on pixels; the walks at the end hand rows to a row function and no more.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <type_traits>
#include <typeinfo>

#include "ImageLib/source/PixRectRefClass.h"

namespace tumblewash::imagelib {

/// A rectangle of coordinates, inclusive on all four sides; empty when a high side lies below its low side.
struct Region {
    int lx;  ///< left
    int ly;  ///< top
    int hx;  ///< right
    int hy;  ///< bottom

    /// True when no pixel lies inside.
    bool empty() const { return hx < lx || hy < ly; }
    /// True when (x, y) lies inside.
    bool holds(int x, int y) const { return lx <= x && x <= hx && ly <= y && y <= hy; }
    /// True when all of r lies inside.
    bool covers(const Region& r) const { return lx <= r.lx && r.hx <= hx && ly <= r.ly && r.hy <= hy; }
    /// The part that lies in both.
    Region clipped(const Region& r) const {
        return {SICommon_H::max(lx, r.lx), SICommon_H::max(ly, r.ly), SICommon_H::min(hx, r.hx),
                SICommon_H::min(hy, r.hy)};
    }
};

/// The inclusive bounds of a rectangle as a Region.
template <class T>
Region boundsOf(const PixRectBase<T>& r) {
    return {r.lx(), r.ly(), r.hx(), r.hy()};
}

/// The rectangle as a `Class` where it is exactly of that class, else null: a class derived from it may
/// compute its pixels in a way of its own. A virtual member that asked the rectangle itself would take a
/// place in virtual tables whose order is fixed; and where an object is exactly of a class, its own address
/// is that class's, which is far cheaper than a search through the bases.
template <class Class, class T>
const Class* exactly(const PixRect<T>& rect) {
    return typeid(rect) == typeid(Class) ? static_cast<const Class*>(dynamic_cast<const void*>(&rect))
                                         : nullptr;
}

/// The stored rows behind a rectangle, addressed in that rectangle's own coordinates.
///
/// A PixRectRW with storage resolves to itself; the plain views PixRectRef and PixRectRWRef resolve through
/// their sources. Every other kind of rectangle (sampled, continuous, cached) computes its pixels and has no
/// rows here. The pixels stay owned by the rectangle that stores them; rows are valid as long as it keeps
/// its storage and the views keep their offsets.
template <class T>
class PixelRows {
  public:
    /// Resolves the views between `rect` and its memory; `rect` must outlive this.
    explicit PixelRows(const PixRect<T>& rect) : tested_(boundsOf(rect)) { resolve(rect); }

    /// True when rows were found.
    bool found() const { return rast_ != nullptr; }

    /// True when the chain of views ends at a rectangle without pixels or at no rectangle at all.
    bool nodata() const { return nodata_; }

    /// The coordinates for which at() is valid: the storing rectangle's bounds. Views read without a
    /// bounds test may reach all of it, also past an inner view's bounds.
    const Region& reach() const { return reach_; }

    /// The part of reach() that bounds-tested reads answer for: within the bounds of every view passed.
    const Region& tested() const { return tested_; }

    /// The address of pixel (x, y), which must lie within reach(); the row goes on to the right from there.
    T* at(int x, int y) const { return rast_[y - dy_] + (x - dx_); }

  private:
    static const PixRectRW<T>* storingIn(const PixRect<T>* p) {
        const auto* plain = exactly<PixRectRW<T>>(*p);
        return plain != nullptr ? plain : dynamic_cast<const PixRectRW<T>*>(p);
    }

    void resolve(const PixRect<T>& rect) {
        const PixRect<T>* p = &rect;
        for (;;) {
            const PixRectRef<T>* view = exactly<PixRectRWRef<T>>(*p);
            if (view == nullptr) view = exactly<PixRectRef<T>>(*p);
            if (view == nullptr) break;
            dx_ += view->sx;
            dy_ += view->sy;
            p = view->src();
            if (p == nullptr) {
                nodata_ = true;
                return;
            }
            tested_ = tested_.clipped(shifted(boundsOf(*p)));
        }
        const PixRectRW<T>* storing = storingIn(p);
        if (storing == nullptr) return;
        rast_ = storing->rasters();
        reach_ = shifted(boundsOf(*storing));
        if (rast_ == nullptr)
            nodata_ = &storing->pixrefNB(storing->lx(), storing->ly()) == &PixRectBase<T>::blackpixel;
    }

    Region shifted(const Region& r) const { return {r.lx + dx_, r.ly + dy_, r.hx + dx_, r.hy + dy_}; }

    T** rast_ = nullptr;
    int dx_ = 0, dy_ = 0;
    Region reach_{0, 0, -1, -1};
    Region tested_;
    bool nodata_ = false;
};

/// Reads single pixels of any rectangle without ever leaving the memory behind it: through the untested
/// `pixNB` where that is defined, and as the zero pixel where a view shows a place its source does not have.
template <class T>
class SafeReader {
  public:
    /// Resolves the views between `rect` and its memory; `rect` must outlive this.
    explicit SafeReader(const PixRect<T>& rect) : rect_(rect), rows_(rect) {}

    /// The rows behind the rectangle.
    const PixelRows<T>& rows() const { return rows_; }

    /// The pixel at (x, y), in the rectangle's own coordinates.
    T operator()(int x, int y) const {
        if (rows_.found() && !rows_.reach().holds(x, y)) return PixRectBase<T>::blackpixel;
        return rect_.pixNB(x, y);
    }

  private:
    const PixRect<T>& rect_;
    PixelRows<T> rows_;
};

/// How many rows of `region` from row y on lie one behind the other in every memory that `starts` tell of,
/// each of them giving the first pixel of a row; at least one, and together no more pixels than an int
/// counts.
template <class... Starts>
int rowsTogether(const Region& region, int y, Starts... starts) {
    const int width = region.hx - region.lx + 1;
    const int most = INT_MAX / width;
    int count = 1;
    while (y + count <= region.hy && count < most &&
           ((starts(y + count) == starts(y + count - 1) + width) && ...))
        ++count;
    return count;
}

/// Walks the whole of `rect` and calls op(first pixel, count) on each run of pixels that lie one behind the
/// other in memory: a row, or several where each begins at the end of the one above. IMAGE_NODATA without
/// storage. Pixels that a view shows but its source does not have are not written.
template <class T, class RunOp>
SIerrorcode forEachRow(PixRectRW<T>& rect, RunOp op) {
    const PixelRows<T> rows(rect);
    if (rows.nodata()) return IMAGE_NODATA;
    Region region = boundsOf(rect);
    if (rows.found()) {
        region = region.clipped(rows.reach());
        if (region.empty()) return IMAGE_OK;
        const int width = region.hx - region.lx + 1;
        for (int y = region.ly; y <= region.hy;) {
            const int together = rowsTogether(region, y, [&](int row) { return rows.at(region.lx, row); });
            op(rows.at(region.lx, y), together * width);
            y += together;
        }
        return IMAGE_OK;
    }
    for (int y = region.ly; y <= region.hy; ++y)
        for (int x = region.lx; x <= region.hx; ++x)
            if (T& mine = rect.pixrefNB(x, y); &mine != &PixRectBase<T>::blackpixel) op(&mine, 1);
    return IMAGE_OK;
}

/// How the pixels of both rectangles are reached: untested like `pixNB` and `pixrefNB`, or tested at every
/// view on the way like `pix` and `pixref`.
enum class Reads { untested, tested };

/// Where a run of pixels handed to a row function lies, counted from the working region's top-left corner.
struct RunPlace {
    int row;     ///< rows below that corner
    int column;  ///< columns right of it
};

/// Walks the intersection of the two rectangles' bounds and calls op(first own pixel, first source pixel,
/// count) on each run of pixels that lie one behind the other in both memories, or op(..., count, place) on
/// each row where op asks for the place; IMAGE_NODATA without storage, IMAGE_OK otherwise, also when nothing
/// overlaps. Single pixels are handed over where either rectangle has no rows in memory. The order is always
/// ascending, so that a source looking at this very memory sees every write made before its turn.
template <class T, class U, class RowOp>
SIerrorcode forEachRowPair(PixRectRW<T>& rect, const PixRect<U>& src, RowOp op,
                           Reads reads = Reads::untested) {
    constexpr bool places = std::is_invocable_v<RowOp, T*, const U*, int, RunPlace>;
    const PixelRows<T> rows(rect);
    if (rows.nodata()) return IMAGE_NODATA;
    const Region whole = boundsOf(rect).clipped(boundsOf(src));
    const bool tested = reads == Reads::tested;
    const Region region = rows.found() ? whole.clipped(tested ? rows.tested() : rows.reach()) : whole;
    if (region.empty()) return IMAGE_OK;
    const SafeReader<U> reader(src);
    const PixelRows<U>& srcrows = reader.rows();
    if (rows.found() && srcrows.found() && (tested ? srcrows.tested() : srcrows.reach()).covers(region)) {
        const int width = region.hx - region.lx + 1;
        const auto own = [&](int y) { return rows.at(region.lx, y); };
        const auto from = [&](int y) -> const U* { return srcrows.at(region.lx, y); };
        for (int y = region.ly; y <= region.hy;) {
            if constexpr (places) {
                op(own(y), from(y), width, RunPlace{y - whole.ly, region.lx - whole.lx});
                ++y;
            } else {
                const int together = rowsTogether(region, y, own, from);
                op(own(y), from(y), together * width);
                y += together;
            }
        }
        return IMAGE_OK;
    }
    for (int y = region.ly; y <= region.hy; ++y) {
        for (int x = region.lx; x <= region.hx; ++x) {
            const U value = tested ? src.pix(x, y) : reader(x, y);
            T& mine = rect.pixrefNB(x, y);
            if (&mine == &PixRectBase<T>::blackpixel) continue;
            if constexpr (places)
                op(&mine, &value, 1, RunPlace{y - whole.ly, x - whole.lx});
            else
                op(&mine, &value, 1);
        }
    }
    return IMAGE_OK;
}

}  // namespace tumblewash::imagelib
