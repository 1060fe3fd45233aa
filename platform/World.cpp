#include "platform/World.h"

#include <cstring>
#include <new>

#include "memory/FrameMemory.h"
#include "platform/Handles.h"
#include "platform/Rects.h"
#include "platform/WorldRecord.h"

namespace tumblewash::platform {

using memory::newFrameMemory;

namespace {

thread_local OpaqueWorld* currentWorld = nullptr;
thread_local PortStyle ownStyle;

thread_local OSErr lastError = noErr;

// The map of a usable handle, else null; keeps the result for `QDError`.
PixMap* liveMap(PixMapHandle map) {
    const bool live = IsLiveHandle(reinterpret_cast<Handle>(map));
    lastError = live ? noErr : nilHandleErr;
    return live ? *map : nullptr;
}

OSErr makeWorld(GWorldPtr* world, void* pixels, std::int32_t stride, const Rect& bounds, bool owns) {
    auto* made = new (std::nothrow) OpaqueWorld{};
    if (made == nullptr) return memFullErr;
    made->map = reinterpret_cast<PixMapHandle>(NewHandle(sizeof(PixMap)));
    if (made->map == nullptr) {
        delete made;
        return memFullErr;
    }
    **made->map = PixMap{static_cast<Ptr>(pixels), static_cast<std::int16_t>(stride), bounds, 32, 0};
    made->owned = owns ? pixels : nullptr;
    *world = made;
    return noErr;
}

void* zeroedPixels(std::size_t bytes) {
    void* memory = newFrameMemory(bytes);
    if (memory != nullptr) std::memset(memory, 0, bytes);
    return memory;
}

}  // namespace

PortStyle& StyleOf(CGrafPtr port) {
    return port != nullptr ? port->style : ownStyle;
}

PortStyle& CurrentStyle() {
    return StyleOf(currentWorld);
}

const PixMap* CurrentMap() {
    return currentWorld != nullptr ? *currentWorld->map : nullptr;
}

OSErr NewGWorldOver(GWorldPtr* world, void* pixels, std::int32_t rowBytes, const Rect* bounds) {
    if (world == nullptr) return paramErr;
    *world = nullptr;
    if (pixels == nullptr || bounds == nullptr || EmptyRect(bounds)) return paramErr;
    const std::int32_t width = bounds->right - bounds->left;
    if (rowBytes % 4 != 0 || rowBytes > kMaxRowBytes || rowBytes < width * 4) return paramErr;
    return makeWorld(world, pixels, rowBytes, *bounds, false);
}

}  // namespace tumblewash::platform

using namespace tumblewash::platform;

OSErr NewGWorld(GWorldPtr* world, short depth, const Rect* bounds, CTabHandle, GDHandle, GWorldFlags) {
    if (world == nullptr) return paramErr;
    *world = nullptr;
    if (bounds == nullptr || EmptyRect(bounds)) return paramErr;
    if (depth != 32) return cDepthErr;
    const std::int32_t stride = (bounds->right - bounds->left) * 4;
    if (stride > kMaxRowBytes) return paramErr;
    const auto rows = static_cast<std::size_t>(bounds->bottom - bounds->top);
    void* pixels = zeroedPixels(rows * static_cast<std::size_t>(stride));
    if (pixels == nullptr) return memFullErr;
    const OSErr error = makeWorld(world, pixels, stride, *bounds, true);
    if (error != noErr) tumblewash::memory::freeFrameMemory(pixels);
    return error;
}

void DisposeGWorld(GWorldPtr world) {
    if (world == nullptr) return;
    if (currentWorld == world) currentWorld = nullptr;
    DisposeHandle(reinterpret_cast<Handle>(world->map));
    tumblewash::memory::freeFrameMemory(world->owned);
    delete world;
}

void GetGWorld(CGrafPtr* world, GDHandle* device) {
    if (world != nullptr) *world = currentWorld;
    if (device != nullptr) *device = nullptr;
}

void SetGWorld(CGrafPtr world, GDHandle) {
    currentWorld = world;
}

PixMapHandle GetGWorldPixMap(GWorldPtr world) {
    return world != nullptr ? world->map : nullptr;
}

PixMapHandle GetPortPixMap(CGrafPtr port) {
    return GetGWorldPixMap(port);
}

Rect* GetPortBounds(CGrafPtr port, Rect* bounds) {
    if (bounds != nullptr) *bounds = port != nullptr ? (*port->map)->bounds : Rect{};
    return bounds;
}

const BitMap* GetPortBitMapForCopyBits(CGrafPtr port) {
    return port != nullptr ? *port->map : nullptr;
}

Ptr GetPixBaseAddr(PixMapHandle map) {
    const PixMap* live = liveMap(map);
    return live != nullptr ? live->baseAddr : nullptr;
}

Boolean LockPixels(PixMapHandle map) {
    PixMap* live = liveMap(map);
    if (live != nullptr) live->pixelState |= pixelsLocked;
    return live != nullptr;
}

void UnlockPixels(PixMapHandle map) {
    if (PixMap* live = liveMap(map)) live->pixelState &= ~pixelsLocked;
}

GWorldFlags GetPixelsState(PixMapHandle map) {
    const PixMap* live = liveMap(map);
    return live != nullptr ? live->pixelState : 0;
}

void SetPixelsState(PixMapHandle map, GWorldFlags state) {
    if (PixMap* live = liveMap(map)) live->pixelState = state;
}

OSErr QDError() {
    return lastError;
}
