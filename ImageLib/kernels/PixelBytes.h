// PixelBytes: what mixing makes of one channel of a packed pixel.
// The rules themselves, one byte at a time; pixels, rows and vectors are told elsewhere in these terms.
#pragma once

namespace tumblewash::kernels {

/// Held to 0..255 and truncated toward zero; 0 when v is no number.
constexpr unsigned char heldToByte(float v) {
    if (!(v > 0.0F)) return 0;
    return v >= 255.0F ? static_cast<unsigned char>(255) : static_cast<unsigned char>(v);
}

/// (c p + s) / (p + 1) in single precision, held to a byte. p weighs the existing channel c.
constexpr unsigned char proportion(unsigned char c, unsigned char s, float p) {
    return heldToByte((static_cast<float>(c) * p + static_cast<float>(s)) / (p + 1.0F));
}

/// (256 c + a s) / (a + 255), low byte: s drawn over c by its alpha a, which is not 0.
constexpr unsigned char mixedByAlpha(unsigned char c, unsigned char s, unsigned char a) {
    return static_cast<unsigned char>(((c * 256 + s * a) / (a + 255)) & 0xFF);
}

}  // namespace tumblewash::kernels
