// All platform services at once: include this to call them by their platform names.
// It declares nothing itself.
#pragma once

// IWYU pragma: begin_exports
#include "platform/Color.h"
#include "platform/CopyBits.h"
#include "platform/Gestalt.h"
#include "platform/Handles.h"
#include "platform/Rects.h"
#include "platform/Resources.h"
#include "platform/Text.h"
#include "platform/Types.h"
#include "platform/World.h"
// IWYU pragma: end_exports
