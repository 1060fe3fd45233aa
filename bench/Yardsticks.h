// Yardsticks: OpenCV's routines, single-threaded, over plain memory, set up as one would set them up.
// The header shows no OpenCV: only bench/Yardsticks.cpp sees it. These are measured, never compared by bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "memory/FrameMemory.h"

namespace tumblewash::bench {

/// A frame of four-byte pixels without padding, in memory like that of the program's own frames.
struct Picture {
    int width;
    int height;
    std::vector<std::uint8_t, memory::FrameAllocator<std::uint8_t>> bytes;

    Picture(int w, int h)
        : width(w), height(h), bytes(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
    std::uint8_t* data() { return bytes.data(); }
};

/// A smooth scene with noise on it, alpha 255.
Picture scene(int width, int height, unsigned seed);

/// Red and green of a coarse field as OpenCV takes them: two floats a cell.
struct CoarseField {
    int width;
    int height;
    std::vector<float> cells;
};

void useOneThread();
void copyFrame(const Picture& from, Picture& to);
/// The field resized bilinearly to the frame and turned into maps, then one remap.
void remapAlong(const Picture& from, Picture& to, const CoarseField& field, float strength, bool bilinear);
/// A bilinear perspective warp of the whole frame that turns it by `degrees` and shrinks it by `scale`.
void warpPerspectiveFrame(const Picture& from, Picture& to, double degrees, double scale);
/// to = (from + to) / 2.
void blendHalf(const Picture& from, Picture& to);
void resizeNearest(const Picture& from, Picture& to);
void resizeArea(const Picture& from, Picture& to);
void filter5x5(const Picture& from, Picture& to, const float (&kernel)[25]);
double sumOfDifferences(const Picture& a, const Picture& b);
/// Both pictures to grey, their difference, its extremes and sum of squares.
double sumOfSquares(const Picture& a, const Picture& b);
double sumOfGrey(const Picture& a);
void addFrames(const Picture& from, Picture& to);
void scaleFrame(const Picture& from, Picture& to, double factor);
void tableFrame(const Picture& from, Picture& to, const std::uint8_t (&table)[256]);
void fillFrame(Picture& to);

}  // namespace tumblewash::bench
