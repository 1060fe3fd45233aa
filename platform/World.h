// Off-screen worlds: 32-bit pictures with a pixel map, two colours, a pen and a text style, and the thread's
// current one. A world owns its memory, or looks at memory that somebody else owns (`NewGWorldOver`). Not
// thread-safe per world; different threads may use different worlds.
#pragma once

#include <cstdint>

#include "platform/Types.h"

/// Makes a zero-filled world with the given bounds; its stride is exactly four bytes per pixel. The caller
/// owns it. `paramErr` for null arguments, an empty rectangle or a width above 4095; `cDepthErr` for a depth
/// other than 32; `memFullErr` without memory; `*world` is null on failure. Colour table, device and flags
/// are not used.
[[nodiscard]] OSErr NewGWorld(GWorldPtr* world, short depth, const Rect* bounds, CTabHandle table,
                              GDHandle device, GWorldFlags flags);

/// Frees the world, its pixel-map handle and the memory it owns. A current world that is disposed leaves none
/// current. Null is ignored.
void DisposeGWorld(GWorldPtr world);

/// The calling thread's current world (null at first) and device (always null). Either address may be null.
void GetGWorld(CGrafPtr* world, GDHandle* device);

/// Makes `world` (may be null) the calling thread's current world; the device is not used.
void SetGWorld(CGrafPtr world, GDHandle device);

/// The world's pixel-map handle, owned by the world; null for null.
[[nodiscard]] PixMapHandle GetGWorldPixMap(GWorldPtr world);

/// The port's pixel-map handle: the same as `GetGWorldPixMap`.
[[nodiscard]] PixMapHandle GetPortPixMap(CGrafPtr port);

/// Copies the port's bounds to `*bounds` and returns it; an empty rectangle for a null port.
Rect* GetPortBounds(CGrafPtr port, Rect* bounds);

/// The map that `CopyBits` takes for this port; null for null. Valid as long as the world.
[[nodiscard]] const BitMap* GetPortBitMapForCopyBits(CGrafPtr port);

/// Address of the first pixel; null for a null or disposed handle.
[[nodiscard]] Ptr GetPixBaseAddr(PixMapHandle map);

/// Sets the locked bit of the pixels; true unless the handle is null or disposed.
Boolean LockPixels(PixMapHandle map);

/// Clears the locked bit of the pixels.
void UnlockPixels(PixMapHandle map);

/// The pixels' state bits; 0 for a null or disposed handle.
[[nodiscard]] GWorldFlags GetPixelsState(PixMapHandle map);

/// Sets the pixels' state bits; ignored for a null or disposed handle.
void SetPixelsState(PixMapHandle map, GWorldFlags state);

/// Result code of this thread's last operation on a pixel-map handle: `nilHandleErr` when it was null or
/// disposed.
[[nodiscard]] OSErr QDError();

namespace tumblewash::platform {

/// Makes a world over memory that stays the caller's and must outlive it: no copy, nothing cleared.
/// `pixels` is the top left pixel, `rowBytes` the stride in bytes: a multiple of 4, at least 4 x width, at
/// most 0x3FFC. Errors as `NewGWorld`. `DisposeGWorld` leaves the memory alone.
[[nodiscard]] OSErr NewGWorldOver(GWorldPtr* world, void* pixels, std::int32_t rowBytes, const Rect* bounds);

}  // namespace tumblewash::platform
