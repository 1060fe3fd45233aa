// The plug-in's door: the entry function every host request goes through, and the three frame drivers.
// One call is one request; all state lives in the block that the host keeps in the parameter block's
// clientData. Not the geometry (DistortProcess.h), not the list of effects (Catalogue.h), not the state's
// set-up (process_init.h).
#pragma once

#include "hostapi/HYPlugin.h"

/// Serves one request of the host for the effect `which` (0 to 13; anything else behaves as 0).
///
/// The loadable module exports this function under the linker name `main`; programs that link the plug-in
/// call it by this name. `params` is the host's block, read and written in place and never kept.
/// @return a `HYPluginResult` in the low eight bits, the others zero. An allocation that fails anywhere below
/// gives `kPluginOutOfMemory` with the current graphics world restored; no exception leaves this function.
int HYPluginEntry(short which, HYPluginParams* params);

/// Renders one frame of a wash or tilt transition into `params->frame`.
///
/// Fetches the outgoing frame (and, with `overnext`, the incoming one), warps one of them along the
/// displacement field `flowField1` of the state over the other, and mixes the sound of both.
/// @param params   the host's block
/// @param overnext a second clip takes part
/// @param percent  fraction of the effect, 0 to 1, already eased or reversed
/// @param washin   with `overnext`, the incoming frame is the one that is warped, over the outgoing one
/// @return `kPluginOK` or the first failure. A failure after a frame was lent leaves it lent, and one after
/// the pixel maps were locked leaves them locked; the effect world survives only a failed sound mix.
[[nodiscard]] HYPluginResult TransitionDistort(_PluginParams* params, bool overnext, double percent,
                                               bool washin);

/// Renders one frame of a tumble transition into `params->frame`: as `TransitionDistort`, with the plate of
/// `TumbleAway` in place of the warp. It needs no field, and the lent frame that becomes the plate keeps the
/// rim painted into it.
[[nodiscard]] HYPluginResult TransitionTumble(_PluginParams* params, bool overnext, double percent,
                                              bool tumblein);

/// Renders one frame of the morph into `params->frame`.
///
/// The first frame rendered fixes the two key pictures and the motion fields between them; they are kept in
/// the state until it is cleaned up. With fewer than three frames, or while the last frame cannot be had, the
/// current frame is copied as it is.
/// @return `kPluginOK` or the first failure; a frame whose effect world could not be made stays lent.
[[nodiscard]] HYPluginResult TransitionCrossDissolve(_PluginParams* params);
