// Fingerprints of bytes: SHA-256 for files and documents, and a quicker one of 128 bits for pictures, which
// are many. Not for keeping secrets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tumblewash::media {

/// SHA-256 of bytes that come in pieces.
class Sha256 {
  public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    void add(const void* bytes, size_t size);
    /// 64 hexadecimal digits of all that was added; nothing may be added afterwards.
    std::string text();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// SHA-256 of a text, as 64 hexadecimal digits.
std::string sha256Of(std::string_view text);

/// The fingerprint of one picture before it is encoded: MurmurHash3 of 128 bits over its planes' visible
/// bytes.
using PicturePrint = std::array<uint8_t, 16>;

}  // namespace tumblewash::media
