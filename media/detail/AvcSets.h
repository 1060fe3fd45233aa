// The parameter sets of H.264: read as far as copying needs, and written again under other ids or with other
// limits. Slices name their picture parameter set, and are rewritten to name another.
// Syntax as in ITU-T H.264 (08/2021), 7.3.2 and E.1. Nothing is decoded here.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "media/detail/NalUnits.h"
#include "media/detail/ParameterSets.h"

namespace tumblewash::media {

constexpr int kAvcSlice = 1;
constexpr int kAvcIdr = 5;
constexpr int kAvcSei = 6;
constexpr int kAvcSps = 7;
constexpr int kAvcPps = 8;

inline int avcTypeOf(ByteView unit) noexcept {
    return unit.empty() ? 0 : unit[0] & 31;
}

/// A sequence parameter set. `bytes` is the unit without emulation prevention; positions are bits in it.
struct AvcSps {
    Bytes bytes;
    int id = 0;
    int profile = 0;
    int compatibility = 0;  ///< the byte of constraint flags
    int level = 0;          ///< 31 is 3.1
    int chroma = 1;         ///< 1: 4:2:0
    int depth = 8;          ///< of the deeper of luma and chroma
    int lumaDepth = 8;
    int chromaDepth = 8;
    int order = 0;       ///< pic_order_cnt_type
    int references = 0;  ///< max_num_ref_frames
    int widthInBlocks = 0;
    int heightInBlocks = 0;  ///< of frames
    bool framesOnly = true;
    bool restricted = false;  ///< says how much reordering and buffering there is
    int reorder = 0;
    int buffering = 0;
    size_t idAt = 0;
    size_t afterId = 0;
    size_t vuiAt = 0;  ///< of vui_parameters_present_flag
    bool vui = false;
    size_t restrictionAt = 0;  ///< of bitstream_restriction_flag
    size_t limitsAt = 0;       ///< of max_num_reorder_frames
    size_t end = 0;            ///< of the closing bit
};

struct AvcPps {
    Bytes bytes;
    int id = 0;
    int sps = 0;
    bool cabac = false;
    bool sliceGroups = false;
    bool redundant = false;
    size_t afterIds = 0;
    size_t end = 0;
};

/// What begins a slice.
struct AvcSlice {
    uint32_t firstBlock = 0;
    int kind = 0;  ///< slice_type modulo 5: 0 P, 1 B, 2 I
    int pps = 0;
    size_t ppsAt = 0;  ///< bits from the unit's first byte, without emulation prevention
    size_t afterPps = 0;
};

std::optional<AvcSps> readAvcSps(ByteView unit);
std::optional<AvcPps> readAvcPps(ByteView unit);
std::optional<AvcSlice> readAvcSlice(ByteView unit);

/// What all sequence parameter sets of one track say alike.
struct AvcLimits {
    int level = 0;
    int reorder = 0;
    int buffering = 0;
};

/// The least frames that a decoder for this set keeps: as it says, else what its level allows.
int avcBuffering(const AvcSps& sps) noexcept;

/// The set again, as a unit.
Bytes writeAvcSps(const AvcSps& sps, int id, const AvcLimits& limits);
Bytes writeAvcPps(const AvcPps& pps, int id, int sps);
/// The slice again, naming the set `pps`, whose code must be as long as the old one or whole bytes longer or
/// shorter: what follows then keeps its place within its byte, which arithmetic coding asks for.
Bytes writeAvcSlice(ByteView unit, const AvcSlice& slice, int pps);
/// A unit of supplemental information without the messages that name a sequence parameter set; empty when
/// none is left.
Bytes withoutBufferingPeriods(ByteView unit);

/// The sets of one source.
struct AvcSets {
    std::map<int, AvcSps> sps;
    std::map<int, AvcPps> pps;
    int lengthSize = 4;  ///< of its packets; 0: start codes

    using Added = SetAdded;
    /// Takes a set's unit up; `changed` is one that replaces another of its id, which is kept.
    Added add(ByteView unit);
};

/// The sets in a decoder's header: an avcC record, or units with start codes. Nothing when it is broken or
/// holds none.
std::optional<AvcSets> readAvcHeader(ByteView header);

}  // namespace tumblewash::media
