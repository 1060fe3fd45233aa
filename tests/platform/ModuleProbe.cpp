// A loadable module with its own copy of the platform, as the plug-in is one: draws a caption, makes and
// frees handles.
#include "platform/Carbon.h"

extern "C" __attribute__((visibility("default"))) int ProbePlatform() {
    const Rect bounds{0, 0, 40, 200};
    GWorldPtr world = nullptr;
    if (NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0) != noErr) return -1;
    SetGWorld(world, nullptr);
    const unsigned char text[] = "\005Morph";
    TextSize(24);
    MoveTo(5, 30);
    DrawString(text);
    Str255 caption;
    GetIndString(caption, 17000, 1);
    int inked = 0;
    for (int i = 0; i < 40 * 200; ++i) inked += GetPixBaseAddr(GetGWorldPixMap(world))[i * 4] != 0;
    SetGWorld(nullptr, nullptr);
    DisposeGWorld(world);
    return caption[0] > 0 ? inked : -2;
}

/// Makes a handle in the module's own pool.
extern "C" __attribute__((visibility("default"))) Handle ProbeHandle() {
    return NewHandle(8);
}
