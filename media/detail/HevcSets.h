// The parameter sets of HEVC: read as far as copying needs, and written again under other ids or with other
// limits. Slices name their picture parameter set, and are rewritten to name another. Syntax as in ITU-T
// H.265 (08/2021), 7.3. Nothing is decoded here.
#pragma once

#include <map>
#include <optional>

#include "media/detail/NalUnits.h"
#include "media/detail/ParameterSets.h"

namespace tumblewash::media {

constexpr int kHevcBlaNoLeading = 18;
constexpr int kHevcIdrNoLeading = 20;
constexpr int kHevcCra = 21;
constexpr int kHevcVps = 32;
constexpr int kHevcSps = 33;
constexpr int kHevcPps = 34;
constexpr int kHevcSei = 39;
constexpr int kHevcSuffixSei = 40;

inline int hevcTypeOf(ByteView unit) noexcept {
    return unit.size() < 2 ? -1 : unit[0] >> 1 & 63;
}
inline int hevcLayerOf(ByteView unit) noexcept {
    return unit.size() < 2 ? 0 : (unit[0] & 1) << 5 | unit[1] >> 3;
}
/// True for pictures at which decoding may begin.
inline bool hevcRefreshes(int type) noexcept {
    return type >= 16 && type <= 21;
}
inline bool hevcIsSlice(int type) noexcept {
    return (type >= 0 && type <= 9) || hevcRefreshes(type);
}

/// `bytes` of these records are units without emulation prevention; positions are bits in them.
struct HevcVps {
    Bytes bytes;
    int id = 0;
};

struct HevcSps {
    Bytes bytes;
    int id = 0;
    int vps = 0;
    int profile = 0;    ///< general_profile_idc
    bool high = false;  ///< tier
    int level = 0;      ///< 93 is 3.1
    int layers = 1;     ///< temporal ones
    bool nested = false;
    int chroma = 1;  ///< 1: 4:2:0
    int lumaDepth = 8;
    int chromaDepth = 8;
    int width = 0;  ///< as coded
    int height = 0;
    int buffering = 0;  ///< sps_max_dec_pic_buffering_minus1 of the highest layer
    int reorder = 0;    ///< sps_max_num_reorder_pics of it
    size_t idAt = 0;
    size_t afterId = 0;
    size_t limitsAt = 0;  ///< of sps_sub_layer_ordering_info_present_flag
    size_t afterLimits = 0;
    size_t end = 0;  ///< of the closing bit
};

struct HevcPps {
    Bytes bytes;
    int id = 0;
    int sps = 0;
    size_t afterIds = 0;
    size_t end = 0;
};

/// What begins a slice segment.
struct HevcSlice {
    bool first = false;  ///< of its picture
    int pps = 0;
    size_t ppsAt = 0;  ///< bits from the unit's first byte, without emulation prevention
    size_t afterPps = 0;
};

std::optional<HevcVps> readHevcVps(ByteView unit);
std::optional<HevcSps> readHevcSps(ByteView unit);
std::optional<HevcPps> readHevcPps(ByteView unit);
std::optional<HevcSlice> readHevcSlice(ByteView unit);

/// What all sequence parameter sets of one track say alike.
struct HevcLimits {
    bool high = false;
    int level = 0;
    int buffering = 0;
    int reorder = 0;
};

/// The sets again, as units.
Bytes writeHevcVps(const HevcVps& vps, int id, const HevcLimits& limits);
Bytes writeHevcSps(const HevcSps& sps, int id, int vps, const HevcLimits& limits);
Bytes writeHevcPps(const HevcPps& pps, int id, int sps);
/// The slice segment again, naming the set `pps`, whose code must differ from the old one's by whole bytes,
/// as `sameAlignment` tells. `begins` makes it one of a picture at which a stretch begins: no picture that is
/// shown before it follows, and those before it are shown.
Bytes writeHevcSlice(ByteView unit, const HevcSlice& slice, int pps, bool begins);

/// The sets of one source.
struct HevcSets {
    std::map<int, HevcVps> vps;
    std::map<int, HevcSps> sps;
    std::map<int, HevcPps> pps;
    int lengthSize = 4;  ///< of its packets; 0: start codes

    using Added = SetAdded;
    /// Takes a set's unit up; `changed` is one that replaces another of its id, which is kept.
    Added add(ByteView unit);
};

/// The sets in a decoder's header: an hvcC record, or units with start codes. Nothing when it is broken or
/// holds none.
std::optional<HevcSets> readHevcHeader(ByteView header);

}  // namespace tumblewash::media
