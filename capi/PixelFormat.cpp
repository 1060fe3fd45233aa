#include "capi/PixelFormat.h"

namespace tumblewash::capi {

namespace {

/// Where the channels of a pixel lie.
struct Order {
    int bytes, alpha, red, green, blue;
};

constexpr Order kOrders[] = {
    {4, 0, 1, 2, 3}, {4, 3, 0, 1, 2}, {4, 3, 2, 1, 0}, {3, -1, 0, 1, 2}, {3, -1, 2, 1, 0}};

template <Order order>
void read(const std::uint8_t* from, int count, std::uint8_t* argb) noexcept {
    for (int i = 0; i < count; ++i, from += order.bytes, argb += 4) {
        if constexpr (order.alpha >= 0)
            argb[0] = from[order.alpha];
        else
            argb[0] = 255;
        argb[1] = from[order.red];
        argb[2] = from[order.green];
        argb[3] = from[order.blue];
    }
}

template <Order order>
void write(const std::uint8_t* argb, int count, std::uint8_t* to) noexcept {
    for (int i = 0; i < count; ++i, argb += 4, to += order.bytes) {
        if constexpr (order.alpha >= 0) to[order.alpha] = argb[0];
        to[order.red] = argb[1];
        to[order.green] = argb[2];
        to[order.blue] = argb[3];
    }
}

/// Runs `row` for the order of a format.
template <class Row>
void inOrder(tw_format format, Row row) noexcept {
    switch (format) {
        case TW_ARGB:
            return row.template operator()<kOrders[TW_ARGB]>();
        case TW_RGBA:
            return row.template operator()<kOrders[TW_RGBA]>();
        case TW_BGRA:
            return row.template operator()<kOrders[TW_BGRA]>();
        case TW_RGB:
            return row.template operator()<kOrders[TW_RGB]>();
        case TW_BGR:
            return row.template operator()<kOrders[TW_BGR]>();
    }
}

}  // namespace

int pixelBytes(tw_format format) noexcept {
    return static_cast<unsigned>(format) <= TW_BGR ? kOrders[format].bytes : 0;
}

bool hasAlpha(tw_format format) noexcept {
    return pixelBytes(format) == 4;
}

void toArgb(tw_format format, const std::uint8_t* from, int count, std::uint8_t* argb) noexcept {
    inOrder(format, [&]<Order order>() { read<order>(from, count, argb); });
}

void fromArgb(tw_format format, const std::uint8_t* argb, int count, std::uint8_t* to) noexcept {
    inOrder(format, [&]<Order order>() { write<order>(argb, count, to); });
}

}  // namespace tumblewash::capi
