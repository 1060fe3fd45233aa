// A record's bytes in memory, written out by hand, and the record filled through its names. It is no
// serialiser: nothing here is derived from the records.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tumblewash::test {

/// What every byte of a record holds before its fields are written, so that padding shows.
inline constexpr unsigned char kPadding = 0xEE;

/// A record whose bytes are all padding, one for each type: an object of a function may live in registers,
/// which have no padding.
template <class Record>
Record& blank() {
    static Record record;
    std::memset(&record, kPadding, sizeof record);
    return record;
}

/// A pointer to an address that is never read.
template <class Pointer>
void pointAt(Pointer& pointer, std::uint32_t address) {
    pointer = reinterpret_cast<Pointer>(static_cast<std::uintptr_t>(address));
}

/// The bytes of a record as a host has them: written in big-endian order, kept in the order of this machine.
class MemoryImage {
  public:
    /// Fields in hexadecimal, one word each, most significant digit first. `*` marks a pointer of 32 bits;
    /// where pointers are wider it moves to its own alignment.
    MemoryImage& fields(std::string_view words) {
        for (std::size_t at = 0; at < words.size();) {
            if (words[at] == ' ') {
                ++at;
                continue;
            }
            const std::size_t end = std::min(words.find(' ', at), words.size());
            field(words.substr(at, end - at));
            at = end;
        }
        return *this;
    }
    /// A C string in an array of `length` bytes, the rest zero.
    MemoryImage& text(std::string_view characters, std::size_t length) {
        bytes_.insert(bytes_.end(), characters.begin(), characters.end());
        bytes_.resize(bytes_.size() + length - characters.size());
        return *this;
    }
    /// Another record.
    MemoryImage& record(const MemoryImage& other) {
        bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
        return *this;
    }
    /// The end of a record that holds pointers; no byte where a pointer has 32 bits.
    MemoryImage& endOfPointers() {
        align(sizeof(void*));
        return *this;
    }
    const std::vector<unsigned char>& bytes() const { return bytes_; }

  private:
    void align(std::size_t unit) {
        if (sizeof(void*) == 4) return;
        while (bytes_.size() % unit != 0) bytes_.push_back(kPadding);
    }
    void field(std::string_view word) {
        const bool pointer = word[0] == '*';
        if (pointer) {
            word.remove_prefix(1);
            align(sizeof(void*));
        }
        std::vector<unsigned char> value(pointer ? sizeof(void*) - word.size() / 2 : 0);
        for (std::size_t i = 0; i + 1 < word.size(); i += 2) {
            value.push_back(
                static_cast<unsigned char>(std::stoi(std::string(word.substr(i, 2)), nullptr, 16)));
        }
        if (std::endian::native == std::endian::little) std::ranges::reverse(value);
        bytes_.insert(bytes_.end(), value.begin(), value.end());
    }

    std::vector<unsigned char> bytes_;
};

/// The record's bytes as they stand in memory.
template <class Record>
std::vector<unsigned char> memoryOf(const Record& record) {
    std::vector<unsigned char> bytes(sizeof(Record));
    std::memcpy(bytes.data(), &record, sizeof(Record));
    return bytes;
}

}  // namespace tumblewash::test
