// The keys of an edit's document: one table for each kind of object, in the order in which they are written.
// The reader, the writer, refusals and the schema are held to it.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace tumblewash::edit {

/// The version of documents that this program writes, and the newest that it reads.
inline constexpr int kDocumentVersion = 1;

/// What a key's value may be.
enum class KeyType {
    Version,
    Text,
    File,
    Flag,
    Size,
    Rate,
    Time,
    Speed,
    Seed,
    Crf,
    Effect,
    Direction,
    Audio,
    Channels,
    Loudness,
    Level,
    Duck,
    Music,
    Fit,
    StillMotion,
    Preset,
    Codec,
    Depth,
    Hdr,
    ToneMap,
    CopyBodies,
    Count,
    Modified,
    Head,
    Output,
    Seam,
    Clips,
    Was
};

/// One key.
struct KeyRow {
    const char* key;
    KeyType type;
    const char* help;  ///< one sentence, no full stop
};

std::span<const KeyRow> editKeys();
std::span<const KeyRow> outputKeys();
std::span<const KeyRow> musicKeys();
std::span<const KeyRow> seamKeys();
std::span<const KeyRow> clipKeys();
std::span<const KeyRow> wasKeys();

/// The keys by name, in the table's order.
std::vector<std::string> keysOf(std::span<const KeyRow> table);

/// The schema of documents (JSON Schema, draft 2020-12), with a final newline.
std::string documentSchema();

}  // namespace tumblewash::edit
