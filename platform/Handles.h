// Relocatable memory blocks: handles, their state bits, and what is left of a handle after it was disposed.
// A handle is the address of a master pointer. Nothing ever moves here, so locking only keeps the books.
// A disposed handle stays readable: its master pointer is all ones until the block is recycled, see
// `DisposeHandle`.
#pragma once

#include <cstddef>

#include "platform/Types.h"

inline constexpr SInt8 kHandlePurgeable = 0x40;                   ///< state bit: the block may be purged
inline constexpr SInt8 kHandleLocked = static_cast<SInt8>(0x80);  ///< state bit: the block must not move

/// A zero-filled block of `size` bytes, 0 or more; null when there is no memory or `size` is negative. The
/// caller owns it.
[[nodiscard]] Handle NewHandle(Size size);

/// Size of the block in bytes; 0 for a null or disposed handle.
[[nodiscard]] Size GetHandleSize(Handle h);

/// Frees the block. The master pointer becomes all ones and stays readable as such until at least 1024
/// further handles of the same program or module were disposed; only then is it recycled. Null and disposed
/// handles are ignored.
void DisposeHandle(Handle h);

/// Replaces `*h` by a new handle to a copy of its block. `paramErr` for a null `h`, `nilHandleErr` for a null
/// or disposed handle, `memFullErr` without memory; `*h` is unchanged on failure. The copy starts unlocked.
[[nodiscard]] OSErr HandToHand(Handle* h);

/// The state bits; 0 for a null or disposed handle.
[[nodiscard]] SInt8 HGetState(Handle h);

/// Sets the state bits; ignored for a null or disposed handle.
void HSetState(Handle h, SInt8 state);

/// Sets the locked bit.
void HLock(Handle h);

/// Clears the locked bit.
void HUnlock(Handle h);

/// Would move the block to the top of the heap; blocks do not move here.
void MoveHHi(Handle h);

/// Result code of this thread's last handle operation.
[[nodiscard]] OSErr MemError();

namespace tumblewash::platform {

/// The master pointer of a disposed handle: every bit set.
[[nodiscard]] Ptr DisposedMaster();

/// True when the handle and its master pointer are usable.
[[nodiscard]] bool IsLiveHandle(Handle h);

/// Number of handles made by this program or module and not disposed yet.
[[nodiscard]] std::size_t LiveHandles();

/// Number of master pointers held in memory, live and disposed: bounded by the largest number of live ones
/// plus a constant.
[[nodiscard]] std::size_t HandleBlocksInMemory();

}  // namespace tumblewash::platform
