// Rows of a library frame's planes as samples. Not bounds-checked.
#pragma once

#include <cstddef>

#include "media/detail/Av.h"

namespace tumblewash::media {

template <typename Sample>
const Sample* rowOf(const AVFrame& frame, int plane, int row) {
    return reinterpret_cast<const Sample*>(frame.data[plane] + ptrdiff_t{row} * frame.linesize[plane]);
}

template <typename Sample>
Sample* rowOf(AVFrame& frame, int plane, int row) {
    return reinterpret_cast<Sample*>(frame.data[plane] + ptrdiff_t{row} * frame.linesize[plane]);
}

}  // namespace tumblewash::media
