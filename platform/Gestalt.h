// Questions about the system that the plug-in runs on. Only the system version is answered.
#pragma once

#include "platform/Types.h"

inline constexpr OSType gestaltSystemVersion =
    0x73797376;  ///< "sysv": the system version, two digits per byte

/// Answers the selector in `*response`. `gestaltUndefSelectorErr` for anything but the system version,
/// `paramErr` for a null address. The system version is 0x1000 or more: disposed handles are marked, see
/// Handles.h.
[[nodiscard]] OSErr Gestalt(OSType selector, SInt32* response);

namespace tumblewash::platform {

/// Lets the calling thread see another system version from now on; 0 makes the question fail, a negative
/// number brings the own answer back.
void PretendSystemVersion(SInt32 version);

}  // namespace tumblewash::platform
