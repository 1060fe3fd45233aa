// Movies that are made in pieces: each piece holds the packets of one encoder for a stretch of the pictures,
// or of the whole sound, exactly as the encoder gave them; put together they are one movie. Writers make
// them (`WriterSettings::piece`). What the stretches are, and whose they are, is the caller's to know.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/Writer.h"

namespace tumblewash::media {

/// What a piece holds.
struct PieceFacts {
    Piece kind = Piece::none;
    int64_t pictures = 0;  ///< encoded; 0 in a piece of sound
    int64_t packets = 0;
    int64_t delay = 0;   ///< decoding of its first packet begins this many pictures before it is shown
    uint64_t bytes = 0;  ///< size of the file
    std::string sha256;  ///< of the file
};

/// Reads a piece to its end. Throws MediaError: unreadable, or undecodable for what is no piece, or is cut or
/// damaged.
PieceFacts readPiece(const std::string& file);

/// One piece of the pictures, in its place.
struct PlacedPiece {
    std::string file;
    int64_t first = 0;  ///< number of its first picture in the movie
    int64_t pictures = 0;
    int64_t delay = 0;
};

/// What a movie that was put together holds, independent of how it was cut: fingerprints of the pictures
/// before they were encoded, and of the packets of sound.
struct MergedPrints {
    std::string pictures;  ///< 64 hexadecimal digits
    std::string sound;     ///< the same, or empty without sound
};

/// The version of the libraries whose encoders make the packets.
std::string libraryVersion();

/// Puts pieces together: the movie that a Writer with these settings would have made of all pictures and
/// samples in one go, if there is one piece of pictures; otherwise one whose pictures are encoded anew from
/// each piece's first. `sound` is a piece of sound, or empty. Throws MediaError; an old output is then as it
/// was.
MergedPrints mergePieces(const std::string& output, const WriterSettings& settings,
                         const std::vector<PlacedPiece>& pictures, const std::string& sound);

}  // namespace tumblewash::media
