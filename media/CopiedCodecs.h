// Which codecs' packets can be taken from clips as they are, and the codec that the library's name means.
#pragma once

#include <optional>
#include <string>

#include "media/Codecs.h"

namespace tumblewash::media {

/// True for codecs whose packets are copied from clips as they are.
constexpr bool isCopied(Codec codec) noexcept {
    return codec != Codec::av1;
}

/// The codec with the library's name `name`; none for others.
std::optional<Codec> codecOfName(const std::string& name);

}  // namespace tumblewash::media
