// A picture to draw sheets and charts on: filled shapes, smooth lines, scaled pictures, and text through the
// platform's text services. Coordinates are pixels from the top left; nothing outside is touched.
// It is no image library: effects never see it.
#pragma once

#include <cstdint>
#include <string>

#include "app/Options.h"
#include "media/Picture.h"
#include "platform/Carbon.h"

namespace tumblewash::app {

/// An opaque colour.
struct Colour {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
};

/// The colours of one theme.
struct Palette {
    Colour paper;   ///< background
    Colour panel;   ///< behind pictures and legends
    Colour edge;    ///< thin rules
    Colour ink;     ///< titles
    Colour faint;   ///< captions
    Colour accent;  ///< the one colour that stands out
    Colour checkA;  ///< the two greys of the board that stands for "nothing here"
    Colour checkB;
};

/// The palette of a theme.
const Palette& paletteOf(Theme theme);

/// The colour `t` (0 to 1) of the way from a to b.
Colour blend(Colour a, Colour b, double t);

/// Which typeface.
enum class Face { Sans, Mono };

/// Where a text stands relative to its x.
enum class Align { Left, Centre, Right };

/// The drawing surface; at most 4095 wide.
class Canvas {
  public:
    Canvas(int width, int height, Colour paper);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    int width() const noexcept { return picture_.width(); }
    int height() const noexcept { return picture_.height(); }
    const media::PictureRef& picture() const noexcept { return picture_; }

    /// Keeps later shapes inside a rectangle; text and pictures ignore it.
    void clip(int x, int y, int w, int h);
    /// Lets shapes go everywhere again.
    void unclip() { clip(0, 0, width(), height()); }
    /// Fills a rectangle; opacity 0 to 1.
    void fill(int x, int y, int w, int h, Colour colour, double opacity = 1);
    /// A one-pixel frame just inside a rectangle.
    void frame(int x, int y, int w, int h, Colour colour);
    /// A smooth line with round ends.
    void line(double x0, double y0, double x1, double y1, double thickness, Colour colour,
              double opacity = 1);
    /// A smooth filled triangle.
    void triangle(const double (&xs)[3], const double (&ys)[3], Colour colour, double opacity = 1);
    /// A line with a head at its end.
    void arrow(double x0, double y0, double x1, double y1, double thickness, Colour colour);
    /// A picture scaled to w x h by area; where its alpha is 0, the board of the palette shows.
    void image(const media::PictureRef& picture, int x, int y, int w, int h, const Palette& palette);
    /// Text with its baseline at y, `size` in pixels. Gives its width.
    int text(int x, int y, const std::string& words, int size, Colour colour, Face face = Face::Sans,
             Align align = Align::Left);
    /// The width that text would have.
    int textWidth(const std::string& words, int size, Face face = Face::Sans);
    /// The longest beginning of the words, with an ellipsis where cut, that is at most `width` wide.
    std::string fitted(const std::string& words, int width, int size, Face face = Face::Sans);

  private:
    void mix(int x, int y, Colour colour, double opacity);

    media::PictureRef picture_;
    int left_ = 0;
    int top_ = 0;
    int right_ = 0;
    int bottom_ = 0;
    GWorldPtr world_ = nullptr;
};

}  // namespace tumblewash::app
