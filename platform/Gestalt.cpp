#include "platform/Gestalt.h"

namespace {

constexpr SInt32 kOwnVersion = 0x1049;
thread_local SInt32 systemVersion = kOwnVersion;

}  // namespace

OSErr Gestalt(OSType selector, SInt32* response) {
    if (response == nullptr) return paramErr;
    if (selector != gestaltSystemVersion || systemVersion == 0) return gestaltUndefSelectorErr;
    *response = systemVersion;
    return noErr;
}

namespace tumblewash::platform {

void PretendSystemVersion(SInt32 version) {
    systemVersion = version < 0 ? kOwnVersion : version;
}

}  // namespace tumblewash::platform
