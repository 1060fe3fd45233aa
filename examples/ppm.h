// Reads and writes binary PPM pictures (P6, 8 bits) as rectangles of frame pixels: enough for examples.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ImageLib/source/PixRect.h"

/// The picture in `file`, origin at (0, 0). Throws std::runtime_error when it is no 8-bit P6 picture.
inline PixRectRW<ARGBVal> readPpm(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::string magic;
    int width = 0, height = 0, largest = 0;
    if (!(in >> magic >> width >> height >> largest) || magic != "P6" || largest != 255 || width < 1 ||
        height < 1)
        throw std::runtime_error(file + ": not an 8-bit P6 picture");
    in.get();
    PixRectRW<ARGBVal> picture(width, height);
    std::vector<char> row(static_cast<std::size_t>(width) * 3);
    for (int y = 0; y < height; ++y) {
        if (!in.read(row.data(), static_cast<std::streamsize>(row.size())))
            throw std::runtime_error(file + ": ends too early");
        for (int x = 0; x < width; ++x) {
            const auto* p = reinterpret_cast<const unsigned char*>(row.data()) + 3 * x;
            picture.pixref(x, y).set(255, p[0], p[1], p[2]);
        }
    }
    return picture;
}

/// Writes the colours of `picture`. Throws std::runtime_error when the file cannot be written.
inline void writePpm(const std::string& file, const PixRect<ARGBVal>& picture) {
    std::ofstream out(file, std::ios::binary);
    out << "P6\n" << picture.width() << ' ' << picture.height() << "\n255\n";
    for (int y = picture.ly(); y <= picture.hy(); ++y) {
        for (int x = picture.lx(); x <= picture.hx(); ++x) {
            const ARGBVal pixel = picture.pix(x, y);
            for (const unsigned char byte : {pixel.getred(), pixel.getgreen(), pixel.getblue()})
                out.put(static_cast<char>(byte));
        }
    }
    if (!out.flush()) throw std::runtime_error(file + ": cannot be written");
}
