#include "platform/Rects.h"

#include <algorithm>
#include <cstdint>

void SetRect(Rect* r, short left, short top, short right, short bottom) {
    if (r != nullptr) *r = Rect{top, left, bottom, right};
}

void OffsetRect(Rect* r, short dh, short dv) {
    if (r == nullptr) return;
    const auto moved = [](short a, short d) {
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(a + d));
    };
    *r = Rect{moved(r->top, dv), moved(r->left, dh), moved(r->bottom, dv), moved(r->right, dh)};
}

Boolean EmptyRect(const Rect* r) {
    return r == nullptr || r->bottom <= r->top || r->right <= r->left;
}

Boolean SectRect(const Rect* a, const Rect* b, Rect* out) {
    if (out == nullptr) return 0;
    Rect common{};
    if (a != nullptr && b != nullptr) {
        common = Rect{std::max(a->top, b->top), std::max(a->left, b->left), std::min(a->bottom, b->bottom),
                      std::min(a->right, b->right)};
    }
    *out = EmptyRect(&common) ? Rect{} : common;
    return !EmptyRect(out);
}

Boolean EqualRect(const Rect* a, const Rect* b) {
    return a != nullptr && b != nullptr && a->top == b->top && a->left == b->left && a->bottom == b->bottom &&
           a->right == b->right;
}
