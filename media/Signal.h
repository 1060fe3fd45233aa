// The formulas between signals and light, in double precision: transfers, gamuts, tone mapping, each with its
// standard. The one definition of every colour conversion here: tables are made from it.
// Light is display light in nits or relative to white; nothing here knows pictures or code values.
#pragma once

#include <array>

#include "media/Colour.h"

namespace tumblewash::media {

using Triple = std::array<double, 3>;
using Matrix3 = std::array<Triple, 3>;

/// Nits of HDR's diffuse white, and of SDR white within HDR: BT.2408-7, 2.1.
constexpr double kReferenceWhite = 203;
/// Nominal peak of an HLG display, for which its system gamma is 1.2: BT.2100-2, table 5.
constexpr double kHlgPeak = 1000;

/// BT.2100-2, table 5. Signal 0..1 to scene light 0..1, and back. Below 0 gives 0; above 1 the curve goes on.
double hlgToScene(double signal) noexcept;
double sceneToHlg(double scene) noexcept;
/// BT.2100-2, table 4. Signal 0..1 to nits 0..10000, and back. Kept to these ranges.
double pqToNits(double signal) noexcept;
double nitsToPq(double nits) noexcept;
/// BT.1886 with black at 0: a display gamma of 2.4 and its inverse. Below 0 gives 0; above 1 it goes on.
double gammaToLight(double signal) noexcept;
double lightToGamma(double light) noexcept;

/// HLG R'G'B' in BT.2020 to display light in nits, by the OOTF on luminance with gamma 1.2 and a peak of
/// 1000.
Triple hlgToNits(const Triple& signal) noexcept;
/// Its inverse.
Triple nitsToHlg(const Triple& nits) noexcept;

/// Linear RGB of one set of primaries to another, both with a white of D65 (DCI-P3's own white is adapted by
/// scaling), by the primaries' chromaticities: BT.709-6, BT.2020-2, SMPTE RP 431-2, EG 432-1.
Matrix3 gamutMatrix(Primaries from, Primaries to) noexcept;
Triple operator*(const Matrix3& matrix, const Triple& colour) noexcept;

/// BT.2446-1, method A: display light in BT.2020 up to `peak` nits, to linear SDR light 0..1 in BT.2020.
Triple toneMapNatural(const Triple& nits, double peak) noexcept;
/// BT.2390-10, 5.4.1, on the greatest of the three with `kReferenceWhite` as the target's peak; the others
/// follow in proportion, so that hues stay. To linear light in BT.2020, 1 at reference white.
Triple toneMapWhite(const Triple& nits, double peak) noexcept;

/// A conversion of R'G'B' signals.
struct SignalConversion {
    Transfer fromTransfer = Transfer::sdr;
    Primaries fromPrimaries = Primaries::bt709;
    double fromPeak = kHlgPeak;  ///< of PQ, see `peakOf`
    Transfer toTransfer = Transfer::sdr;
    Primaries toPrimaries = Primaries::bt709;
    ToneMap toneMap = ToneMap::natural;  ///< from HDR to SDR
    bool operator==(const SignalConversion&) const = default;
    /// True when nothing changes.
    bool none() const noexcept { return fromTransfer == toTransfer && fromPrimaries == toPrimaries; }
};

/// Linear light in the target's primaries, before anything is cut off: below 0 or above 1 where the target's
/// gamut or white is left. For conversions to SDR: 1 is its white.
Triple lightForSdr(const Triple& signal, const SignalConversion& conversion) noexcept;
/// The SDR signal of such light: kept to 0..1 when it comes from HDR, to 0 and above when from SDR.
double sdrSignal(double light, bool fromHdr) noexcept;

/// One colour, 0 being black and 1 nominal white or peak. HDR to SDR ends inside 0..1; SDR stays as far above
/// white as it was; SDR in HDR has its white at `kReferenceWhite`; PQ and HLG meet as display light, HLG's
/// ending at 1000 nits.
Triple convertSignal(const Triple& signal, const SignalConversion& conversion) noexcept;

}  // namespace tumblewash::media
