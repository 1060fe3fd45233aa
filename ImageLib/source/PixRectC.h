// The tile cache: a read-only rectangle in front of another one that keeps copies of it in fixed-size tiles,
// made on first touch. Worth its memory where a slow source is read many times in scattered order. Not here:
// any eviction of its own; a caller that wants a bound asks cachesize() and calls clearoldest().
#pragma once

#include <memory>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/SICommon.h"

/// A tiled cache over a PixRect; instantiated for ARGBVal and GreyPixel<unsigned char>.
///
/// The source is not owned and must outlive the cache; writes to it after a tile was made do not show in that
/// tile until it is deleted. Outside the cache's bounds, and without a source, every read gives `blackpixel`
/// and makes no tile. Reading makes tiles, so one cache serves one thread. Not copyable.
template <class T>
class PixRectC : public PixRect<T> {
  public:
    /// Intended upper bound of a cache, in pixels; stored as `_cachelimit` and checked by nobody here.
    static constexpr int defaultcachesize = 65536;

    /// A cache with no source and no tables.
    PixRectC();
    /// A cache with no source and no tables, with these debug categories.
    explicit PixRectC(const DBGState& s);
    /// A cache of 64 x 64 tiles over `src`: takes its bounds, scales and debug state. Null makes an empty
    /// cache.
    explicit PixRectC(PixRect<T>* src);
    /// A cache of 64 x 64 tiles over `src`: takes its bounds, scales and debug state.
    explicit PixRectC(PixRect<T>& src);
    PixRectC(const PixRectC&) = delete;
    PixRectC& operator=(const PixRectC&) = delete;
    ~PixRectC() override;

    /// Drops all tiles and lays out empty tables of tiles of this many pixels, with one spare column and row
    /// beyond width / tilew and height / tileh. Sizes below 1 count as 1. Always true.
    bool initcache(int tilew, int tileh);
    /// The tile holding (x, y), copied from the source on first touch; owned by the cache and valid until
    /// that tile is deleted. Null outside the bounds, without tables, and where the source no longer reaches.
    PixRectRW<T>* cachetile(int x, int y) const;
    /// The cached pixel at (x, y), addressed in the source's coordinates; `blackpixel` where there is no
    /// tile.
    const T& cacheref(int x, int y) const;

    /// The pixel at (x, y), `blackpixel` outside the inclusive bounds.
    T pix(int x, int y) const override;
    /// As pix: a place without a tile has nothing else to return.
    T pixNB(int x, int y) const override;
    /// The pixel at both coordinates truncated toward zero; positions that are not finite are outside.
    T pixdd(double x, double y) const override;

    /// Destroys the tile at this table position, if there is one.
    void deletetile(int row, int col);
    /// Destroys the tile made first among those held; nothing when none is held.
    void clearoldest();
    /// Destroys all tiles and starts the stamps again at 0; the tables stay.
    void clearcache();
    /// Destroys all tiles and both tables.
    void deletecache();

    /// (tiles x 100 / columns) x rows in integers, in this order; 0 without tables. It multiplies by the
    /// rows.
    int percused() const;
    /// Pixels held, every tile counted at full size however small its part of the source.
    int cachesize() const;
    /// The source; null when there is none.
    PixRect<T>* src() const { return _src; }

    /// Nothing to do: tiles are made by reading.
    void init() override {}
    void printInfo() const override;

    // The fields are open to callers that keep a bound of their own; only the cache writes them.
    mutable std::vector<std::vector<std::unique_ptr<PixRectRW<T>>>>
        _tiles;                                   ///< [tile row][tile column], null if none
    mutable std::vector<std::vector<int>> _ages;  ///< creation stamps in the same shape; 0 where none
    PixRect<T>* _src = nullptr;                   ///< the source; not owned
    int _ncols = 0;                               ///< tile columns, the spare one included
    int _nrows = 0;                               ///< tile rows, the spare one included
    int _tilew = 0;                               ///< tile width in pixels
    int _tileh = 0;                               ///< tile height in pixels
    mutable int _ntiles = 0;                      ///< tiles currently held
    mutable int _clock = 0;                       ///< next creation stamp
    int _cachelimit = defaultcachesize;           ///< intended bound of the cache in pixels, not enforced

  private:
    bool havetables() const { return !_tiles.empty(); }
};

extern template class PixRectC<ARGBVal>;
extern template class PixRectC<GreyPixel<unsigned char>>;
